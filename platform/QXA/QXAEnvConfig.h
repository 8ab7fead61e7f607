// QXAEnvConfig: a container's configuration, with the items that package managers read.
#pragma once

#include <optional>
#include <vector>

#include "QXA/QXATemplate.h"
#include "QXL/QXLEnv.h"

namespace QXA {

/// A value. Each getter returns 0 if the configuration can be read, also if the item is not set
/// (the optional is then empty). It returns another value if there is no content, or if the item is
/// not of the form "name" or "name/version"; its argument must then not be used.
class QXL_API QXAEnvConfig : public QXL::QXLEnvConfig {
public:
    /// A configuration without content.
    QXAEnvConfig() = default;
    /// Shares the content of `config`.
    explicit QXAEnvConfig(const QXL::QXLEnvConfig& config) : QXL::QXLEnvConfig(config) {}

    /// The container's number. On failure `veid` is unchanged.
    int getVeid(int& veid) const;

    /// Key of the OS template; its name has a leading "." for a KR template.
    int getOsTemplate(std::optional<QXATemplate>& osTemplate) const;

    /// Keys of the application templates in the configured order. If the OS template is a KR
    /// template, each name has a leading ".", configured with it or not.
    int getTemplates(std::optional<std::vector<QXATemplate>>& templates) const;
};

}  // namespace QXA
