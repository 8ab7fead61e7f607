// See node_templates.h.
#include "node/qxpkg/node/node_templates.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "base/content.h"
#include "layout/paths.h"
#include "node/qxpkg/failure.h"

namespace qxpkg {

namespace {

namespace fs = std::filesystem;

/// Limits for files of the node; far above those of a package.
constexpr std::size_t kMaxKeyBytes = std::size_t{1} << 20;

bool isThere(const std::string& path) {
    struct stat st {};
    const bool there = lstat(path.c_str(), &st) == 0;
    if (!there && errno != ENOENT && errno != ENOTDIR) {
        throw systemFailure("examine", path);
    }
    return there;
}

std::string textOf(const std::string& path, std::size_t limit) {
    std::string error;
    std::optional<std::string> text = base::readFile(path, limit, error);
    if (!text) {
        throw Failure(error);
    }
    return std::move(*text);
}

ManifestFile manifestFile(const std::string& path, const std::string& name, const std::string& os) {
    ManifestFile file;
    file.text = textOf(path, qxnode::TomlTable::kMaxBytes);
    try {
        file.manifest = qxnode::parseKrManifest(file.text, path);
    } catch (const Failure&) {
        file.manifest = {};
    }
    file.manifest.name = qxnode::dottedKrName(name);
    file.manifest.osName = os.empty() ? "" : qxnode::dottedKrName(os);
    file.manifest.isOsTemplate = os.empty();
    return file;
}

std::map<std::string, std::string> keysIn(const std::string& folder) {
    std::map<std::string, std::string> keys;
    std::error_code failure;
    fs::directory_iterator entry(folder, failure);
    for (; !failure && entry != fs::directory_iterator(); entry.increment(failure)) {
        keys.emplace(entry->path().filename().string(), textOf(entry->path(), kMaxKeyBytes));
    }
    if (failure && failure != std::errc::no_such_file_or_directory) {
        throw Failure("cannot read directory '" + folder + "': " + failure.message());
    }
    return keys;
}

}  // namespace

std::optional<NodeOsTemplate> readNodeOsTemplate(const std::string& os) {
    if (!qxnode::isKrName(os) || !isThere(qxnode::krOsFolder(os))) {
        return std::nullopt;
    }
    NodeOsTemplate found;
    if (isThere(qxnode::krOsManifestPath(os))) {
        found.main = manifestFile(qxnode::krOsManifestPath(os), os, "");
    }
    for (const std::string& name : qxnode::krApplicationNames(qxnode::kKrTemplateDir, os)) {
        found.applications.emplace(
            name, manifestFile(qxnode::krApplicationManifestPath(os, name), name, os));
    }
    found.keys = keysIn(qxnode::krOsFolder(os) + "/" + kKeysDir);
    const std::string record = qxnode::krOsFolder(os) + "/" + qxnode::kKrCacheName;
    if (isThere(record)) {
        found.cacheRecord = textOf(record, qxnode::TomlTable::kMaxBytes);
    }
    return found;
}

NodeOsTemplate knownOsTemplate(const std::string& os) {
    std::optional<NodeOsTemplate> found = readNodeOsTemplate(os);
    if (!found || !found->main) {
        throw Failure("OS template '" + qxnode::dottedKrName(os) + "' is not known");
    }
    return std::move(*found);
}

std::optional<qxnode::KrCache> usableCache(const std::string& os, const Output& output,
                                           const std::string& prefix) {
    try {
        return qxnode::readKrCache(os);
    } catch (const Failure& error) {
        output.notice(prefix + error.what());
        return std::nullopt;
    }
}

bool namesKey(const qxnode::KrManifest& manifest, const std::string& key) {
    return std::any_of(
        manifest.repositories.begin(), manifest.repositories.end(),
        [&](const qxnode::KrRepository& repository) { return repository.key == key; });
}

}  // namespace qxpkg
