// The environment cache reads the configurations again for each question: they are small, always
// complete (writers replace a file as a whole), and nothing else is valid.
#include "node/agent/env_cache.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <mutex>
#include <set>
#include <stdexcept>
#include <system_error>

#include "QXA/QXALibFunctionality.h"
#include "QXL/QXLConfiguration.h"
#include "QXL/QXLLog.h"
#include "layout/paths.h"
#include "node/agent/env_config_message.h"

namespace QXL {

namespace {

[[noreturn]] void refuse(const qxnode::ContainerConfig& config, const std::string& path,
                         const char* name, const std::string& reason) {
    const std::size_t line = config.lineOf(name);
    throw std::runtime_error(path + (line == 0 ? "" : ":" + std::to_string(line)) + ": " + name +
                             " " + reason);
}

QXLEID uuidIn(const qxnode::ContainerConfig& config, const std::string& path, const char* name,
              const std::string& text) {
    const QXLEID eid = QXLEID::fromString(text);
    if (!eid.isValid() || eid == QXLEID::EID_LOCAL) {
        refuse(config, path, name, "'" + text + "' is not a UUID");
    }
    return eid;
}

/// Logs each line only once; otherwise a broken file would add a line with every request.
void logOnce(const std::string& line) {
    constexpr std::size_t mostRemembered = 1000;
    static std::mutex guard;
    static std::set<std::string> logged;
    const std::lock_guard<std::mutex> lock(guard);
    if (logged.size() < mostRemembered && logged.insert(line).second) {
        Log.put(kLogError, "container left out: %s", line.c_str());
    }
}

class FileEnvCache : public QXLEnvCache {
public:
    std::shared_ptr<QXLEnv> getEnvCopy(const QXLEID& eid) override {
        const auto all = getEnvList();
        if (!all) {
            return nullptr;
        }
        for (const auto& env : *all) {
            if (env->getEID() == eid) {
                return std::make_shared<QXLEnv>(*env);
            }
        }
        return nullptr;
    }

    std::shared_ptr<QXLEnvList> getEnvList() override {
        return readEnvironments(qxnode::kContainerConfigDir, logOnce);
    }
};

}  // namespace

std::shared_ptr<const QXLEnv> envOfConfig(const qxnode::ContainerConfig& config, int veid,
                                          const std::string& path) {
    using namespace qxnode::parameter;
    const auto eidText = config.get(kEid);
    if (!eidText) {
        refuse(config, path, kEid, "is missing");
    }
    const QXLEID node = QXLConfiguration::getLocalEID();
    const QXLEID eid = uuidIn(config, path, kEid, *eidText);
    if (eid == node) {
        refuse(config, path, kEid, "is the node's own");
    }
    QXLEID parent = node;
    if (const auto text = config.get(kParentEid); text && !text->empty()) {
        parent = uuidIn(config, path, kParentEid, *text);
    }
    auto type = config.get(kType).value_or("");
    if (type.empty()) {
        type = QXA::kTechnologyName;
    }
    auto message = std::make_shared<QXLEnvConfigMessage>();
    message->veid = veid;
    message->osTemplate = config.get(kOsTemplate);
    if (config.get(kTemplates)) {
        message->templates = config.templates();
    }
    return std::make_shared<const QXLEnv>(eid, parent, std::move(type),
                                          QXLEnvConfig(std::move(message)));
}

std::shared_ptr<QXLEnvList> readEnvironments(
    const std::string& folder, const std::function<void(const std::string& line)>& report) {
    std::error_code failure;
    const std::vector<int> numbers = qxnode::containerNumbers(folder, failure);
    if (failure) {
        return nullptr;
    }
    auto list = std::make_shared<QXLEnvList>();
    std::map<QXLEID, std::string> known;
    for (const int veid : numbers) {
        const std::string path = qxnode::containerConfigPath(veid, folder);
        std::string error;
        const auto config = qxnode::ContainerConfig::read(path, error);
        if (!config) {
            report(error);
            continue;
        }
        try {
            auto env = envOfConfig(*config, veid, path);
            const auto [place, isNew] = known.emplace(env->getEID(), path);
            if (!isNew) {
                refuse(*config, path, qxnode::parameter::kEid,
                       "is that of " + place->second + " too");
            }
            list->push_back(std::move(env));
        } catch (const std::runtime_error& failure) {
            report(failure.what());
        }
    }
    return list;
}

std::shared_ptr<QXLEnvCache> envCache() {
    struct stat st {};
    if (stat(qxnode::kContainerConfigDir, &st) != 0 && (errno == ENOENT || errno == ENOTDIR)) {
        return nullptr;
    }
    return std::make_shared<FileEnvCache>();
}

}  // namespace QXL
