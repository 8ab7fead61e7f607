// A container for the template manager: its configuration and the templates in it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "QXA/QXATemplate.h"
#include "QXL/QXLEID.h"
#include "layout/container_config.h"
#include "node/agent/tem/area_change.h"

namespace QXA::tem {

class Container {
public:
    /// @throws Failure if the configuration cannot be read.
    explicit Container(int veid);

    /// The container with this EID. @throws Failure if there is none.
    static Container find(const QXL::QXLEID& eid);

    [[nodiscard]] int veid() const { return m_veid; }
    [[nodiscard]] std::string privateArea() const { return m_config.privateArea(m_veid); }
    [[nodiscard]] ConfiguredTemplates configured() const;

    /// Key of its standard OS template; nullopt if it has none or a KR one.
    [[nodiscard]] std::optional<QXATemplate> osTemplate() const;
    [[nodiscard]] std::vector<QXATemplate> applications() const;

    /// True if its OS template is a KR template: the name begins with a dot.
    [[nodiscard]] bool isKr() const;

    /// Writes the configuration with these templates. @throws Failure.
    void write(const ConfiguredTemplates& templates);

private:
    int m_veid;
    qxnode::ContainerConfig m_config;
};

/// "name/version" or "name" as a key.
QXATemplate parseKey(const std::string& text);

}  // namespace QXA::tem
