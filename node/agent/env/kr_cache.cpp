// Where the root tree of a KR OS template's cache lies: "cache.toml" beside the template's metadata
// names it, with the keys "uuid" and "path".
#include "node/agent/env/kr_cache.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "QXA/QXATEMLocal.h"
#include "QXL/QXLEID.h"
#include "base/subprocess.h"
#include "node/agent/tem/entry_path.h"
#include "node/agent/tem/failure.h"
#include "node/agent/tem/version_order.h"
#include "node/support/paths.h"
#include "node/support/toml_reader.h"

namespace QXA::env {

namespace {

using tem::Failure;

std::string cacheRoot(const std::string& description) {
    const qxnode::TomlTable table = qxnode::TomlTable::read(description);
    const std::string uuid = table.requiredText("uuid");
    const QXL::QXLEID id = QXL::QXLEID::fromString(uuid);
    if (!id.isValid() || id == QXL::QXLEID::EID_LOCAL) {
        throw table.fault("uuid", "'" + uuid + "' is no UUID");
    }
    const std::string caches = std::string(qxnode::kTemplateCacheDir) + "/";
    const std::string path = table.text("path").value_or(caches + uuid);
    const std::string expected = caches + uuid;
    // Only a tree of this very cache is copied into a container, whatever the file says.
    if (path != expected && !path.starts_with(expected + "/")) {
        throw table.fault("path", "'" + path + "' does not lie in '" + expected + "'");
    }
    if (path.size() > expected.size() &&
        tem::checkedEntryPath(path.substr(expected.size() + 1)).empty()) {
        return expected;
    }
    return path;
}

}  // namespace

std::optional<std::string> krCacheRoot(const std::string& osTemplate) {
    const std::string name = osTemplate.substr(1);
    const std::string folder = std::string(qxnode::kKrTemplateDir) + "/" + name;
    struct stat st {};
    if (!tem::isValidVersion(name) || stat((folder + "/template.toml").c_str(), &st) != 0) {
        throw Failure(kTemUnknownTemplate, "OS template '" + osTemplate + "' is not known");
    }
    const std::string description = folder + "/cache.toml";
    if (lstat(description.c_str(), &st) != 0 && errno == ENOENT) {
        return std::nullopt;
    }
    try {
        return cacheRoot(description);
    } catch (const qxnode::ConfigError& error) {
        throw Failure(tem::kTemFailed, error.what());
    }
}

void copyTree(const std::string& from, int directory) {
    // The target has no lasting name yet; the child reaches it through our descriptor.
    const std::string to =
        "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(directory) + "/";
    const base::ProcessResult result =
        base::runProcess({"cp", "--archive", "--reflink=auto", "--", from + "/.", to});
    if (!result.succeeded()) {
        throw Failure(tem::kTemFailed, "cannot copy '" + from + "': " + result.reason());
    }
}

}  // namespace QXA::env
