// QXAEnvConfig: a container's configuration with what only agents of containers read in it.
#pragma once

#include <optional>
#include <vector>

#include "QXA/QXATemplate.h"
#include "QXL/QXLEnv.h"

namespace QXA {

/// A value. Each reader returns 0 when the configuration could be read, also when the item is not
/// specified (the optional is then empty), and non-zero when it could not.
class QXL_API QXAEnvConfig : public QXL::QXLEnvConfig {
public:
    /// Without content, of kind 1.
    QXAEnvConfig() = default;
    explicit QXAEnvConfig(const QXL::QXLEnvConfig& config) : QXL::QXLEnvConfig(config) {}

    /// The container's numeric id. Non-zero when there is none to read; `veid` is then untouched.
    int getVeid(int& veid) const;

    /// Key of the OS template; its name has a leading "." for a KR template.
    int getOsTemplate(std::optional<QXATemplate>& osTemplate) const;

    /// Keys of the application templates.
    int getTemplates(std::optional<std::vector<QXATemplate>>& templates) const;
};

}  // namespace QXA
