// The items of a container's configuration that package managers read.
#include "QXA/QXAEnvConfig.h"

#include "node/agent/env_config_message.h"

namespace {

constexpr int kUnreadable = -1;
constexpr char kKrMark = '.';

/// "name" or "name/version".
bool parseTemplate(const std::string& text, QXA::QXATemplate& key) {
    const auto slash = text.find('/');
    key.name = text.substr(0, slash);
    key.version = slash == std::string::npos ? "" : text.substr(slash + 1);
    return !key.name.empty() && key.version.find('/') == std::string::npos &&
           (slash == std::string::npos || !key.version.empty());
}

bool isKr(const QXL::QXLEnvConfigMessage& message) {
    return message.osTemplate && !message.osTemplate->empty() &&
           message.osTemplate->front() == kKrMark;
}

}  // namespace

namespace QXL {

std::string QXLEnvConfig::getOS() const {
    if (!m_message || !m_message->osTemplate) {
        return {};
    }
    return m_message->osTemplate->substr(0, m_message->osTemplate->find('/'));
}

}  // namespace QXL

namespace QXA {

int QXAEnvConfig::getVeid(int& veid) const {
    if (!message()) {
        return kUnreadable;
    }
    veid = message()->veid;
    return 0;
}

int QXAEnvConfig::getOsTemplate(std::optional<QXATemplate>& osTemplate) const {
    if (!message()) {
        return kUnreadable;
    }
    osTemplate.reset();
    if (!message()->osTemplate || message()->osTemplate->empty()) {
        return 0;
    }
    QXATemplate key;
    if (!parseTemplate(*message()->osTemplate, key)) {
        return kUnreadable;
    }
    osTemplate = std::move(key);
    return 0;
}

int QXAEnvConfig::getTemplates(std::optional<std::vector<QXATemplate>>& templates) const {
    if (!message()) {
        return kUnreadable;
    }
    templates.reset();
    if (!message()->templates) {
        return 0;
    }
    std::vector<QXATemplate> keys;
    for (const std::string& text : *message()->templates) {
        QXATemplate key;
        if (!parseTemplate(text, key)) {
            return kUnreadable;
        }
        // Names of KR templates always have a dot, also if they are configured without it.
        if (isKr(*message()) && key.name.front() != kKrMark) {
            key.name.insert(0, 1, kKrMark);
        }
        keys.push_back(std::move(key));
    }
    templates = std::move(keys);
    return 0;
}

}  // namespace QXA
