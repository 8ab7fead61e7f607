// See cache_record.h.
#include "node/qxpkg/node/cache_record.h"

#include <sys/stat.h>
#include <unistd.h>
#include <uuid/uuid.h>

#include <array>

#include "node/support/kr_manifest.h"
#include "node/support/paths.h"
#include "node/support/time_text.h"
#include "node/support/toml_reader.h"

namespace qxpkg {

namespace {

constexpr std::size_t kUuidText = 37;

/// The name becomes a path that is removed: only a UUID in its one usual form.
bool isUuid(const std::string& text) {
    uuid_t id;
    if (uuid_parse(text.c_str(), id) != 0) {
        return false;
    }
    std::array<char, kUuidText> lower{};
    uuid_unparse_lower(id, lower.data());
    return text == lower.data();
}

}  // namespace

CacheRecord newCacheRecord() {
    uuid_t id;
    uuid_generate(id);
    std::array<char, kUuidText> text{};
    uuid_unparse_lower(id, text.data());
    return {text.data(), qxnode::localTime()};
}

std::string formatCacheRecord(const CacheRecord& record) {
    return "uuid = \"" + record.uuid + "\"\npath = \"" + cacheRootPath(record.uuid) +
           "\"\ncreated = \"" + record.created + "\"\n";
}

std::optional<CacheRecord> readCacheRecord(const std::string& os, std::string& error) {
    const std::string path = qxnode::krOsFolder(os) + "/" + qxnode::kKrCacheName;
    struct stat st {};
    if (lstat(path.c_str(), &st) != 0 && errno == ENOENT) {
        return std::nullopt;
    }
    try {
        const auto table = qxnode::TomlTable::read(path);
        CacheRecord record{table.requiredText("uuid"), table.text("created").value_or("")};
        if (!isUuid(record.uuid)) {
            throw table.fault("uuid", "'" + record.uuid + "' is no UUID");
        }
        return record;
    } catch (const qxnode::ConfigError& failure) {
        error = failure.what();
        return std::nullopt;
    }
}

std::string cacheRootPath(const std::string& uuid) {
    return std::string(qxnode::kTemplateCacheDir) + "/" + uuid + "/root";
}

}  // namespace qxpkg
