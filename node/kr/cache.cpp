// See cache.h.
#include "node/kr/cache.h"

#include <sys/stat.h>
#include <uuid/uuid.h>

#include <array>
#include <cerrno>
#include <filesystem>

#include "layout/paths.h"
#include "layout/time_text.h"
#include "node/kr/manifest.h"
#include "node/support/toml_reader.h"

namespace qxnode {

namespace {

std::string defaultRoot(const std::string& uuid) {
    return krCacheFolder(uuid) + "/root";
}

}  // namespace

KrCache newKrCache() {
    uuid_t id;
    uuid_generate(id);
    std::array<char, UUID_STR_LEN> text{};
    uuid_unparse_lower(id, text.data());
    return {text.data(), defaultRoot(text.data()), localTime()};
}

std::string formatKrCache(const KrCache& cache) {
    return "uuid = \"" + cache.uuid + "\"\npath = \"" + cache.root + "\"\ncreated = \"" +
           cache.created + "\"\n";
}

std::optional<KrCache> readKrCache(std::string_view os) {
    const std::string file = krOsFolder(os) + "/" + kKrCacheName;
    struct stat st {};
    if (lstat(file.c_str(), &st) != 0 && errno == ENOENT) {
        return std::nullopt;
    }
    const TomlTable table = TomlTable::read(file);
    KrCache cache{table.requiredText("uuid"), "", table.text("created").value_or("")};
    uuid_t id;
    // The name becomes part of a path that is copied and removed, so it must be a UUID.
    if (uuid_parse(cache.uuid.c_str(), id) != 0) {
        throw table.fault("uuid", "'" + cache.uuid + "' is not a UUID");
    }
    const std::string folder = krCacheFolder(cache.uuid);
    const std::string path = table.text("path").value_or(defaultRoot(cache.uuid));
    cache.root = std::filesystem::path(path).lexically_normal().string();
    if (cache.root != folder && !cache.root.starts_with(folder + "/")) {
        throw table.fault("path", "'" + path + "' does not lie in '" + folder + "'");
    }
    return cache;
}

std::string krCacheFolder(const std::string& uuid) {
    return std::string(kTemplateCacheDir) + "/" + uuid;
}

}  // namespace qxnode
