// A container for the template manager.
#include "node/agent/tem/container.h"

#include <unistd.h>

#include <system_error>

#include "QXA/QXATEMLocal.h"
#include "layout/paths.h"
#include "node/support/failure.h"

namespace QXA::tem {

using qxnode::Failure;

namespace {

qxnode::ContainerConfig readConfig(int veid) {
    std::string error;
    std::optional<qxnode::ContainerConfig> config =
        qxnode::ContainerConfig::read(qxnode::containerConfigPath(veid), error);
    if (!config) {
        throw Failure(error);
    }
    return std::move(*config);
}

}  // namespace

QXATemplate parseKey(const std::string& text) {
    const std::size_t slash = text.find('/');
    return slash == std::string::npos ? QXATemplate{text, ""}
                                      : QXATemplate{text.substr(0, slash), text.substr(slash + 1)};
}

Container::Container(int veid) : m_veid(veid), m_config(readConfig(veid)) {}

Container Container::find(const QXL::QXLEID& eid) {
    std::error_code failure;
    const std::vector<int> numbers = qxnode::containerNumbers(qxnode::kContainerConfigDir, failure);
    if (failure) {
        throw Failure(std::string("cannot read directory '") + qxnode::kContainerConfigDir +
                      "': " + failure.message());
    }
    // If two have the same EID, the smaller number counts: access was checked for that container.
    for (const int veid : numbers) {
        std::string error;
        // A broken file of another container does not matter here.
        const auto config = qxnode::ContainerConfig::read(qxnode::containerConfigPath(veid), error);
        if (config && eid.isValid() &&
            QXL::QXLEID::fromString(config->get(qxnode::parameter::kEid).value_or("")) == eid) {
            return Container(veid);
        }
    }
    throw Failure("no container has the EID '" + eid.toString() + "'");
}

ConfiguredTemplates Container::configured() const {
    return {m_config.get(qxnode::parameter::kOsTemplate).value_or(""), m_config.templates()};
}

bool Container::isKr() const {
    return configured().osTemplate.starts_with('.');
}

std::optional<QXATemplate> Container::osTemplate() const {
    const std::string configuredName = configured().osTemplate;
    if (configuredName.empty() || isKr()) {
        return std::nullopt;
    }
    return parseKey(configuredName);
}

std::vector<QXATemplate> Container::applications() const {
    std::vector<QXATemplate> keys;
    for (const std::string& name : m_config.templates()) {
        // Names with a leading dot belong to the KR technology.
        if (!name.starts_with('.')) {
            keys.push_back(parseKey(name));
        }
    }
    return keys;
}

void Container::write(const ConfiguredTemplates& templates) {
    qxnode::ContainerConfig config = m_config;
    if (templates.osTemplate.empty()) {
        config.remove(qxnode::parameter::kOsTemplate);
    } else if (!config.set(qxnode::parameter::kOsTemplate, templates.osTemplate)) {
        throw Failure("cannot record OS template '" + templates.osTemplate + "'");
    }
    if (templates.templates.empty()) {
        config.remove(qxnode::parameter::kTemplates);
    } else if (!config.setTemplates(templates.templates)) {
        throw Failure("cannot record the container's templates");
    }
    std::string error;
    if (!config.write(qxnode::containerConfigPath(m_veid), error)) {
        throw Failure(error);
    }
    m_config = std::move(config);
}

}  // namespace QXA::tem
