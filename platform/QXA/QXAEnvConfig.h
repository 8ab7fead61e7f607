// QXAEnvConfig: a container's configuration with what only agents of containers read in it.
#pragma once

#include <optional>
#include <vector>

#include "QXA/QXATemplate.h"
#include "QXL/QXLEnv.h"

namespace QXA {

/// A value. Each reader returns 0 when the configuration could be read, also when the item is not
/// specified (the optional is then empty). It returns non-zero when there is no content, or when
/// the item is no "name" or "name/version"; what it was to fill then tells nothing.
class QXL_API QXAEnvConfig : public QXL::QXLEnvConfig {
public:
    /// Without content, of kind 1.
    QXAEnvConfig() = default;
    explicit QXAEnvConfig(const QXL::QXLEnvConfig& config) : QXL::QXLEnvConfig(config) {}

    /// The container's number. Without one to read, `veid` is untouched.
    int getVeid(int& veid) const;

    /// Key of the OS template; its name has a leading "." for a KR template.
    int getOsTemplate(std::optional<QXATemplate>& osTemplate) const;

    /// Keys of the application templates, as configured; behind a KR OS template each name has its
    /// leading ".", whether it is configured with it or without.
    int getTemplates(std::optional<std::vector<QXATemplate>>& templates) const;
};

}  // namespace QXA
