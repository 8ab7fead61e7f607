// Reads the node's templates. A change that is committed but not completed is seen as done: new
// templates are also looked for in staging, and removed ones are left out.
#include "node/agent/tem/template_area.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include "QXA/QXATEMLocal.h"
#include "base/content.h"
#include "base/fd.h"
#include "base/open_below.h"
#include "base/tree.h"
#include "node/agent/tem/manifest.h"
#include "node/support/failure.h"
#include "node/template/version_order.h"

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
        // A bad manifest on the node means a damaged template area, not a damaged package.
        throw Failure(failure.what());
    }
    store().keep(path, st, manifest);
    return manifest;
}

// A change takes milliseconds, so there are never so many in a row during one query.
constexpr int kMaxReadAttempts = 100;

std::string pathOf(const QXATemplate& key) {
    return std::string(kTemplateAreaPath) + "/" + key.name + "/" + key.version;
}

const JournalStep* stepFor(const TemplateJournal& journal, const QXATemplate& key) {
    if (!journal.pending) {
        return nullptr;
    }
    const std::string target = key.name + "/" + key.version;
    const auto found = std::find_if(journal.steps.begin(), journal.steps.end(),
                                    [&](const JournalStep& step) { return step.target == target; });
    return found == journal.steps.end() ? nullptr : &*found;
}

}  // namespace

TemplateArea::TemplateArea() : m_root(open(kTemplateAreaPath, O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (!m_root) {
        throw systemFailure("open template area", kTemplateAreaPath);
    }
    m_journal = readJournal(m_root.get());
}

std::vector<std::pair<std::string, std::vector<std::string>>> TemplateArea::listing() const {
    const std::optional<std::vector<std::string>> found = base::namesIn(root());
    if (!found) {
        throw systemFailure("read template area", kTemplateAreaPath);
    }
    std::vector<std::pair<std::string, std::vector<std::string>>> out;
    for (const std::string& name : *found) {
        std::vector<std::string> known = versions(name);
        if (!known.empty()) {
            out.emplace_back(name, std::move(known));
        }
    }
    return out;
}

std::vector<std::string> TemplateArea::versions(const std::string& name) const {
    if (!isValidName(name)) {
        return {};
    }
    std::vector<std::string> found;
    if (const base::Fd directory = base::openBelow(root(), name, O_RDONLY | O_DIRECTORY)) {
        found = base::namesIn(directory.get()).value_or(std::vector<std::string>{});
    }
    std::erase_if(found, [](const std::string& version) { return !isValidVersion(version); });
    if (m_journal->pending) {
        for (const JournalStep& step : m_journal->steps) {
            const std::size_t slash = step.target.find('/');
            if (step.target.substr(0, slash) != name ||
                step.target.find('/', slash + 1) != std::string::npos) {
                continue;
            }
            const std::string version = step.target.substr(slash + 1);
            std::erase(found, version);
            if (step.kind == JournalStep::Kind::place) {
                found.push_back(version);
            }
        }
    }
    std::sort(found.begin(), found.end(),
              [](const std::string& a, const std::string& b) { return versionLess(a, b); });
    return found;
}

base::Fd TemplateArea::openVersion(const QXATemplate& key) const {
    if (!isValidName(key.name) || (!key.version.empty() && !isValidVersion(key.version))) {
        throw Failure(kTemUnknownTemplate, "template '" + key.toString() + "' is not known");
    }
    const JournalStep* step = stepFor(*m_journal, key);
    const bool dropped = step != nullptr && step->kind == JournalStep::Kind::drop;
    // A rename may happen between two reads, so look into the place before and after staging.
    const std::string target = key.name + "/" + key.version;
    for (const std::string& path :
         step == nullptr ? std::vector{target} : std::vector{target, step->source, target}) {
        base::Fd directory = base::openBelow(root(), path, O_RDONLY | O_DIRECTORY);
        struct stat st {};
        if (!dropped && directory &&
            (step == nullptr || (fstat(directory.get(), &st) == 0 && st.st_ino == step->inode))) {
            return directory;
        }
        if (directory) {
            errno = ENOENT;  // something else stands there
        }
    }
    if (!dropped && errno != ENOENT && errno != ENOTDIR) {
        throw systemFailure("open template", pathOf(key));
    }
    if (versions(key.name).empty()) {
        throw Failure(kTemUnknownTemplate, "template '" + key.name + "' is not known");
    }
    throw Failure(kTemUnknownVersion,
                  "template '" + key.name + "' has no version '" + key.version + "'");
}

std::shared_ptr<const Manifest> TemplateArea::manifest(const QXATemplate& key) const {
    const base::Fd directory = openVersion(key);
    std::shared_ptr<const Manifest> manifest = cachedManifest(directory.get(), pathOf(key));
    if (!(manifest->key() == key)) {
        throw Failure(pathOf(key) + "/" + kManifestName + ": is the manifest of '" +
                      manifest->key().toString() + "'");
    }
    return manifest;
}

base::Fd TemplateArea::openRoot(const QXATemplate& key) const {
    const base::Fd directory = openVersion(key);
    base::Fd files = base::openBelow(directory.get(), kRootName, O_RDONLY | O_DIRECTORY);
    if (!files) {
        throw systemFailure("open", pathOf(key) + "/" + kRootName);
    }
    return files;
}

QXATemplate TemplateArea::resolve(const QXATemplate& key) const {
    const std::vector<std::string> known = versions(key.name);
    if (known.empty()) {
        throw Failure(kTemUnknownTemplate, "template '" + key.name + "' is not known");
    }
    if (key.version.empty()) {
        return {key.name, known.back()};
    }
    if (std::find(known.begin(), known.end(), key.version) == known.end()) {
        throw Failure(kTemUnknownVersion,
                      "template '" + key.name + "' has no version '" + key.version + "'");
    }
    return key;
}

std::vector<std::shared_ptr<const Manifest>> TemplateArea::all() const {
    std::vector<std::shared_ptr<const Manifest>> out;
    for (const auto& [name, known] : listing()) {
        for (const std::string& version : known) {
            try {
                out.push_back(manifest({name, version}));
            } catch (const Failure&) {
                // A broken template must not make the others unusable. Listings report it when they
                // read its configuration.
                continue;
            }
        }
    }
    return out;
}

void readStable(const std::function<void(const TemplateArea&)>& query) {
    for (int attempt = 1;; ++attempt) {
        const TemplateArea area;
        query(area);
        if (attempt == kMaxReadAttempts ||
            readJournal(area.root())->generation == area.generation()) {
            return;
        }
    }
}

}  // namespace QXA::tem
