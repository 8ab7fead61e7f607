// Manifests that this process has read.
#include "node/agent/tem/manifest_cache.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <mutex>
#include <unordered_map>

#include "base/content.h"
#include "node/support/failure.h"

namespace QXA::tem {

using qxnode::Failure;
using qxnode::systemFailure;

namespace {

// About 1.5 KiB each: bounds what a node with very many templates keeps in memory.
constexpr std::size_t kMaxKept = 20'000;

struct Kept {
    struct stat st {};
    std::shared_ptr<const Manifest> manifest;
};

// A manifest is never written in place, so a file that has kept its identity, size and times has
// kept its content.
bool unchanged(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
           a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec &&
           a.st_ctim.tv_sec == b.st_ctim.tv_sec && a.st_ctim.tv_nsec == b.st_ctim.tv_nsec;
}

class Store {
public:
    std::shared_ptr<const Manifest> find(const std::string& path, const struct stat& st) {
        const std::lock_guard guard(m_mutex);
        const auto found = m_kept.find(path);
        return found != m_kept.end() && unchanged(found->second.st, st) ? found->second.manifest
                                                                        : nullptr;
    }

    void keep(const std::string& path, const struct stat& st,
              std::shared_ptr<const Manifest> manifest) {
        const std::lock_guard guard(m_mutex);
        if (m_kept.size() >= kMaxKept) {
            m_kept.clear();
        }
        m_kept[path] = {st, std::move(manifest)};
    }

private:
    std::mutex m_mutex;
    std::unordered_map<std::string, Kept> m_kept;
};

Store& store() {
    static Store instance;
    return instance;
}

}  // namespace

std::shared_ptr<const Manifest> cachedManifest(int directory, const std::string& path) {
    const std::string source = path + "/" + kManifestName;
    struct stat st {};
    if (fstatat(directory, kManifestName, &st, AT_SYMLINK_NOFOLLOW) != 0) {
        throw systemFailure("read", source);
    }
    if (std::shared_ptr<const Manifest> known = store().find(path, st)) {
        return known;
    }
    const std::optional<std::string> text =
        base::readFileBelow(directory, kManifestName, kMaxManifestSize);
    if (!text) {
        throw systemFailure("read", source);
    }
    std::shared_ptr<const Manifest> manifest;
    try {
        manifest = std::make_shared<const Manifest>(parseManifest(*text, source));
    } catch (const Failure& failure) {
        // On the node a bad manifest is a damaged area, not a damaged package.
        throw Failure(failure.what());
    }
    store().keep(path, st, manifest);
    return manifest;
}

}  // namespace QXA::tem
