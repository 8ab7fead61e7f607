// The manager of this node's containers. A container exists as long as its configuration file.
#include "QXA/QXAEnvMLocal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <uuid/uuid.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "QXA/QXATEMLocal.h"
#include "QXL/QXLConfiguration.h"
#include "QXL/QXLLog.h"
#include "base/durable.h"
#include "base/fd.h"
#include "base/open_below.h"
#include "base/subprocess.h"
#include "layout/container_config.h"
#include "layout/paths.h"
#include "node/agent/env/area_layout.h"
#include "node/agent/env_cache.h"
#include "node/agent/tem/agent_reporter.h"
#include "node/agent/tem/area_index.h"
#include "node/agent/tem/container_templates.h"
#include "node/agent/tem/guarded.h"
#include "node/agent/tem/template_cache.h"
#include "node/kr/cache.h"
#include "node/kr/manifest.h"

namespace QXA {

namespace {

using qxnode::Failure;

QXL::QXLEID newEid() {
    uuid_t uuid;
    char text[UUID_STR_LEN];
    uuid_generate(uuid);
    uuid_unparse_lower(uuid, text);
    return QXL::QXLEID::fromString(text);
}

// nullopt if the file does not exist or does not describe a container.
std::optional<QXAEnvRecord> readRecord(int veid, std::string& error) {
    const std::string path = qxnode::containerConfigPath(veid);
    const auto config = qxnode::ContainerConfig::read(path, error);
    if (!config) {
        return std::nullopt;
    }
    try {
        const auto env = QXL::envOfConfig(*config, veid, path);
        return QXAEnvRecord{veid,
                            env->getEID(),
                            env->getParentEID(),
                            env->getType(),
                            config->privateArea(veid),
                            config->get(qxnode::parameter::kOsTemplate).value_or(""),
                            config->templates()};
    } catch (const std::runtime_error& failure) {
        error = failure.what();
        return std::nullopt;
    }
}

std::vector<QXAEnvRecord> readAll() {
    std::error_code failure;
    std::vector<QXAEnvRecord> records;
    for (const int veid : qxnode::containerNumbers(qxnode::kContainerConfigDir, failure)) {
        std::string error;
        if (auto record = readRecord(veid, error)) {
            records.push_back(std::move(*record));
        } else {
            QXL::Log.put(QXL::kLogError, "container left out: %s", error.c_str());
        }
    }
    if (failure && failure != std::errc::no_such_file_or_directory) {
        throw Failure(std::string("cannot read '") + qxnode::kContainerConfigDir +
                      "': " + failure.message());
    }
    return records;
}

bool hasConfig(int veid) {
    return access(qxnode::containerConfigPath(veid).c_str(), F_OK) == 0;
}

// What the new container's root is made from.
struct Start {
    std::string osTemplate;               // as it is configured
    std::optional<std::string> krRoot;    // a tree to copy
    std::optional<QXATemplate> standard;  // a standard template
};

/// The tree from which a new container's root is copied; nullopt if the template has no cache.
std::optional<std::string> krCacheRoot(const std::string& osTemplate) {
    struct stat st {};
    if (!qxnode::isKrName(osTemplate) ||
        stat(qxnode::krOsManifestPath(osTemplate).c_str(), &st) != 0) {
        throw Failure(kTemUnknownTemplate, "OS template '" + osTemplate + "' is not known");
    }
    const auto cache = qxnode::readKrCache(osTemplate);
    return cache ? std::optional(cache->root) : std::nullopt;
}

/// Copies a root tree into an empty directory, with reflinks if the file system supports them.
void copyTree(const std::string& from, int directory) {
    // The target will be renamed, so the child process uses our descriptor and not a path.
    const std::string to =
        "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(directory) + "/";
    const base::ProcessResult result =
        base::runProcess({"cp", "--archive", "--reflink=auto", "--", from + "/.", to});
    if (!result.succeeded()) {
        throw Failure("cannot copy '" + from + "': " + result.reason());
    }
}

Start startOf(const std::string& osTemplate) {
    Start start;
    if (osTemplate.empty()) {
        return start;
    }
    if (osTemplate.front() == '.') {
        start.osTemplate = osTemplate;
        start.krRoot = krCacheRoot(osTemplate);
        return start;
    }
    const tem::TemplateArea templates;
    const QXATemplate key = templates.resolve(tem::parseKey(osTemplate));
    if (!templates.manifest(key)->config.isOsTemplate) {
        throw Failure(kTemUnknownTemplate, "'" + key.toString() + "' is not an OS template");
    }
    start.osTemplate = key.toString();
    start.standard = key;
    return start;
}

void fill(int area, const Start& start, const std::string& name, const tem::Reporter& reporter) {
    if (start.krRoot) {
        if (mkdirat(area, "root", 0755) != 0) {
            throw qxnode::systemFailure("make directory", "root");
        }
        const base::Fd root = base::openBelow(area, "root", O_RDONLY | O_DIRECTORY);
        if (!root) {
            throw qxnode::systemFailure("open directory", "root");
        }
        copyTree(*start.krRoot, root.get());
    } else if (start.standard) {
        const tem::TemplateArea templates;
        if (!tem::unpackCache(templates, *start.standard, area)) {
            tem::fillFromTemplate(templates, *start.standard, area);
        }
        tem::indexNewArea(area, name, reporter);
    }
}

void writeConfig(const QXAEnvSpec& spec, const QXL::QXLEID& eid, const Start& start) {
    using namespace qxnode::parameter;
    qxnode::ContainerConfig config;
    const auto set = [&](const char* name, const std::string& value) {
        if (!config.set(name, value)) {
            throw Failure(std::string(name) + " cannot have the value '" + value + "'");
        }
    };
    set(kPrivateArea, spec.privateArea.value_or(qxnode::kDefaultPrivateArea));
    set(kEid, eid.toString());
    if (!start.osTemplate.empty()) {
        set(kOsTemplate, start.osTemplate);
    }
    if (spec.parent) {
        set(kParentEid, spec.parent->toString());
    }
    if (spec.type) {
        set(kType, *spec.type);
    }
    std::string error;
    if (!config.write(qxnode::containerConfigPath(spec.veid), error)) {
        throw Failure(error);
    }
}

std::string privateAreaOf(const QXAEnvSpec& spec) {
    qxnode::ContainerConfig config;
    if (!config.set(qxnode::parameter::kPrivateArea,
                    spec.privateArea.value_or(qxnode::kDefaultPrivateArea))) {
        throw Failure(
            "the private area's path holds characters that a "
            "configuration cannot");
    }
    return config.privateArea(spec.veid);
}

void refuseTaken(const QXAEnvSpec& spec, const QXL::QXLEID& eid) {
    if (hasConfig(spec.veid)) {
        throw Failure(kEnvMExists, "container " + std::to_string(spec.veid) + " already exists");
    }
    for (const QXAEnvRecord& record : readAll()) {
        if (record.eid == eid) {
            throw Failure(kEnvMExists, "container " + std::to_string(record.veid) +
                                           " has the EID '" + eid.toString() + "'");
        }
    }
}

void removeConfig(int veid) {
    const std::string path = qxnode::containerConfigPath(veid);
    if (unlink(path.c_str()) != 0) {
        throw qxnode::systemFailure("remove", path);
    }
    // The container is removed. If the flush fails, only a crash could bring it back.
    std::string error;
    if (!base::flushDirectory(qxnode::kContainerConfigDir, error)) {
        QXL::Log.put(QXL::kLogWarning, "%s", error.c_str());
    }
}

// The caller holds the container's lock.
void makeContainer(const QXAEnvSpec& spec, const QXL::QXLEID& eid, const Start& start,
                   const tem::Reporter& reporter) {
    refuseTaken(spec, eid);
    const std::string area = privateAreaOf(spec);
    env::makeArea(
        area, [&](int directory) { fill(directory, start, std::to_string(spec.veid), reporter); });
    try {
        writeConfig(spec, eid, start);
    } catch (const Failure&) {
        // The file may be in its place but not flushed.
        unlink(qxnode::containerConfigPath(spec.veid).c_str());
        env::removeArea(area);
        throw;
    }
    env::finishArea(area);
}

void removeContainer(int veid) {
    std::string error;
    const auto config = qxnode::ContainerConfig::read(qxnode::containerConfigPath(veid), error);
    if (!config) {
        throw Failure(hasConfig(veid) ? Failure::kNoCode : kEnvMUnknown,
                      hasConfig(veid) ? error : "no container " + std::to_string(veid));
    }
    const std::string area = config->privateArea(veid);
    env::leaveArea(area);
    removeConfig(veid);
    env::removeArea(area);
}

}  // namespace

QXAEnvMLocal::QXAEnvMLocal(QXL::QXLAccess access) : m_access(std::move(access)) {}

QXAEnvMLocal::~QXAEnvMLocal() = default;

int QXAEnvMLocal::create(const QXAEnvSpec& spec, QXAEnvRecord* created) {
    const int result = tem::guarded([&] {
        if (spec.veid <= 0) {
            throw Failure(kEnvMFailed, "a container's number must be greater than 0");
        }
        const QXL::QXLEID eid = spec.eid.value_or(newEid());
        if (!eid.isValid() || eid == QXL::QXLEID::EID_LOCAL ||
            eid == QXL::QXLConfiguration::getLocalEID()) {
            throw Failure(kEnvMFailed, "'" + eid.toString() + "' cannot be a container's EID");
        }
        const tem::Reporter reporter = tem::agentReporter();
        qxnode::FileLock templatesStay;
        if (!spec.osTemplate.empty()) {
            templatesStay = tem::lockAgainstWriters(qxnode::kTemplateLock, reporter);
        }
        const Start start = startOf(spec.osTemplate);
        const auto lock = tem::lockForWriting(qxnode::containerLockPath(spec.veid), reporter);
        makeContainer(spec, eid, start, reporter);
        if (created != nullptr) {
            std::string error;
            auto record = readRecord(spec.veid, error);
            if (!record) {
                throw Failure(kEnvMFailed, error);
            }
            *created = std::move(*record);
        }
    });
    // Of the template manager's codes only "unknown" and "exists" are results of this class.
    if (result == kTemUnknownVersion) {
        return kEnvMUnknown;
    }
    return result == 0 || result == kEnvMUnknown || result == kEnvMExists ? result : kEnvMFailed;
}

int QXAEnvMLocal::destroy(int veid) {
    return tem::guarded([&] {
        if (veid <= 0 || !hasConfig(veid)) {
            throw Failure(kEnvMUnknown, "no container " + std::to_string(veid));
        }
        const std::string lockPath = qxnode::containerLockPath(veid);
        const auto lock = tem::lockForWriting(lockPath, tem::agentReporter());
        removeContainer(veid);
        // The lock file is removed with the container; a waiting process opens it again.
        unlink(lockPath.c_str());
    });
}

int QXAEnvMLocal::list(std::vector<QXAEnvRecord>& out) {
    return tem::guarded([&] { out = readAll(); });
}

}  // namespace QXA
