// See root_sources.h. The tree has files and links of packages, so every path is opened inside its
// root.
#include "node/qxpkg/engine/deb/root_sources.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "base/content.h"
#include "base/fd.h"
#include "base/open_below.h"
#include "base/system_error.h"
#include "node/qxpkg/engine/deb/configuration.h"
#include "node/qxpkg/failure.h"

namespace qxpkg {

namespace {

constexpr const char* kApt = "/etc/apt";
constexpr const char* kKeyrings = "/etc/apt/keyrings";
constexpr const char* kSources = "/etc/apt/sources.list";
constexpr const char* kSourcesFolder = "/etc/apt/sources.list.d";
constexpr std::size_t kMaxKey = 1U << 20;

class Root {
public:
    explicit Root(const std::string& path)
        : m_fd(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        if (!m_fd) {
            throw Failure(base::systemError("open", path));
        }
    }

    [[nodiscard]] base::Fd folder(const std::string& path) const {
        return base::openInRoot(m_fd.get(), path, O_RDONLY | O_DIRECTORY);
    }

    void makeFolder(const std::string& path) const {
        const std::size_t slash = path.rfind('/');
        const base::Fd above = folder(path.substr(0, slash + 1));
        if (!above ||
            (mkdirat(above.get(), path.substr(slash + 1).c_str(), 0755) != 0 && errno != EEXIST)) {
            throw Failure(base::systemError("make the tree's", path));
        }
    }

    void write(const std::string& path, const std::string& content) const {
        const base::Fd file =
            base::openInRoot(m_fd.get(), path, O_WRONLY | O_CREAT | O_TRUNC, 0644);
        std::size_t written = 0;
        while (file && written < content.size()) {
            const ssize_t got =
                ::write(file.get(), content.data() + written, content.size() - written);
            if (got < 0 && errno != EINTR) {
                break;
            }
            written += got > 0 ? static_cast<std::size_t>(got) : 0;
        }
        if (!file || written < content.size()) {
            throw Failure(base::systemError("write the tree's", path));
        }
    }

    void remove(const std::string& path) const {
        const std::size_t slash = path.rfind('/');
        if (const base::Fd above = folder(path.substr(0, slash + 1))) {
            unlinkat(above.get(), path.substr(slash + 1).c_str(), 0);
        }
    }

private:
    base::Fd m_fd;
};

/// The same as aptSources(), with the paths that keys have in the container.
std::string sourcesInContainer(const Place& place) {
    std::string text = aptSources(place);
    const std::string from = std::string(inside::kKeys) + "/";
    const std::string to = std::string(kKeyrings) + "/";
    for (std::size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

void copyKeys(const Place& place, const Root& root) {
    for (const qxnode::KrRepository& repository : place.repositories) {
        if (repository.key.empty()) {
            continue;
        }
        std::string error;
        const auto key = base::readFile(place.keys + "/" + repository.key, kMaxKey, error);
        if (!key) {
            throw Failure(error);
        }
        root.makeFolder(kKeyrings);
        root.write(std::string(kKeyrings) + "/" + repository.key, *key);
    }
}

}  // namespace

void writeRootSources(const Place& place, const std::vector<ConfigurationFile>& configuration) {
    const Root root(place.root);
    for (const char* name : {"/etc/resolv.conf", "/etc/hostname", kSources}) {
        root.remove(name);
    }
    if (!root.folder(kApt)) {
        return;
    }
    Place reachable = place;
    std::erase_if(reachable.repositories, [](const qxnode::KrRepository& repository) {
        return !repository.needsNetwork();
    });
    copyKeys(reachable, root);
    root.write(kSources, sourcesInContainer(reachable));
    root.makeFolder(kSourcesFolder);
    for (const ConfigurationFile& file : configuration) {
        if (file.name.starts_with("sources.list.d/")) {
            root.write(std::string(kApt) + "/" + file.name, file.content);
        }
    }
}

}  // namespace qxpkg
