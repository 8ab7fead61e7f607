// Looks paths up component by component, the way the container's file system does.
#include "src/area/resolve.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <deque>
#include <filesystem>
#include <map>

#include "base/fd.h"
#include "base/open_below.h"
#include "src/area/template_lookup.h"
#include "src/index/index_file.h"

namespace qxfs {

namespace {

constexpr int kMaxSymlinks = 40;

void prepend(const std::string& path, std::deque<std::string>& components) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    while (start < path.size()) {
        const auto end = std::min(path.find('/', start), path.size());
        if (end > start && path.compare(start, end - start, ".") != 0) {
            parts.push_back(path.substr(start, end - start));
        }
        start = end + 1;
    }
    components.insert(components.begin(), parts.begin(), parts.end());
}

/// The content of a directory as the container sees it.
struct SeenDirectory {
    int failure = 0;  ///< errno when it could not be read
    DirectoryListing listing;
    std::map<std::string, std::string> indexed;  ///< names that only its index has: link texts
    std::string magic;                           ///< its link when it is a magic directory
};

SeenDirectory readSeen(const Area& area, const std::string& inside) {
    SeenDirectory seen;
    const auto directory = openDirectory(area, inside);
    seen.failure = directory ? readDirectory(directory.get(), seen.listing) : errno;
    const auto* item = seen.listing.find(kIndexName);
    if (seen.failure != 0 || item == nullptr || !seen.listing.isMarked()) {
        return seen;
    }
    if (item->isSymlink()) {
        seen.magic = item->link;
    } else if (S_ISREG(item->info.st_mode)) {
        for (const auto& entry : dirindex::readIndexFile(directory.get(), kIndexName).entries) {
            if (entry.link.has_value() && seen.listing.find(entry.name) == nullptr) {
                seen.indexed.emplace(entry.name, *entry.link + "/" + entry.name);
            }
        }
    }
    return seen;
}

/// Directories of the area by their paths inside the container, each read once.
class SeenDirectories {
public:
    explicit SeenDirectories(const Area& area) : area(area) {}

    const SeenDirectory& at(const std::string& inside) {
        const auto found = m_directories.find(inside);
        return found != m_directories.end()
                   ? found->second
                   : m_directories.emplace(inside, readSeen(area, inside)).first->second;
    }

    const Area& area;

private:
    std::map<std::string, SeenDirectory> m_directories;
};

bool failed(const std::string& path, int failure, std::string& error) {
    error = "can't look at '" + path + "': " +
            (failure == EXDEV ? "another file system is mounted there" : std::strerror(failure));
    return false;
}

bool lookAt(Resolved& resolved, std::string& error) {
    if (lstat(resolved.file.c_str(), &resolved.info) != 0) {
        return failed(resolved.file, errno, error);
    }
    std::error_code failure;
    resolved.target = S_ISLNK(resolved.info.st_mode)
                          ? std::filesystem::read_symlink(resolved.file, failure).string()
                          : "";
    return !failure || failed(resolved.file, failure.value(), error);
}

bool toTemplate(const Area& area, const std::string& link, Resolved& resolved, std::string& error) {
    if (leadsOut(link)) {
        error = "the link '" + link + "' leads out of the template area";
        return false;
    }
    resolved.file = area.templateFile(link);
    resolved.inside.clear();
    resolved.fromTemplate = true;
    return lookAt(resolved, error);
}

/// Resolves one component in a directory of the area.
bool stepInArea(SeenDirectories& directories, const std::string& name, Resolved& resolved,
                std::string& error) {
    const auto& area = directories.area;
    const auto& seen = directories.at(resolved.inside);
    if (seen.failure != 0) {
        return failed(resolved.inside, seen.failure, error);
    }
    if (const auto* item = seen.listing.find(name)) {
        if (item->isLink()) {
            return toTemplate(area, item->link, resolved, error);
        }
        resolved.inside = joined(resolved.inside, name);
        resolved.file = area.absolute(resolved.inside);
        resolved.info = item->info;
        resolved.target = item->isSymlink() ? item->text : "";
        return item->failure == 0 || failed(resolved.file, item->failure, error);
    }
    if (!seen.magic.empty()) {
        return toTemplate(area, seen.magic + "/" + name, resolved, error);
    }
    const auto found = seen.indexed.find(name);
    return found == seen.indexed.end() ? failed(joined(resolved.inside, name), ENOENT, error)
                                       : toTemplate(area, found->second, resolved, error);
}

class Resolver {
public:
    Resolver(SeenDirectories& directories, const std::string& path) : m_directories(directories) {
        prepend(path, m_components);
    }

    /// @param followLast  also follow a symbolic link at the end of the path.
    bool run(bool followLast, Resolved& resolved, std::string& error) {
        toRoot(resolved);
        while (!m_components.empty()) {
            const auto name = m_components.front();
            m_components.pop_front();
            if (name == "..") {
                up(resolved);
                continue;
            }
            if (!S_ISDIR(resolved.info.st_mode)) {
                return failed(m_seen + "/" + name, ENOTDIR, error);
            }
            const auto directory = m_seen;
            if (!step(name, resolved, error)) {
                return false;
            }
            const bool follow = followLast || !m_components.empty();
            if (S_ISLNK(resolved.info.st_mode) && follow) {
                if (++m_symlinks > kMaxSymlinks) {
                    return failed(m_seen, ELOOP, error);
                }
                followSymlink(directory, resolved);
            }
        }
        return true;
    }

private:
    void toRoot(Resolved& resolved) {
        resolved = {};
        resolved.inside = "/";
        resolved.file = m_directories.area.root;
        resolved.info.st_mode = S_IFDIR;
        m_seen.clear();
    }

    bool step(const std::string& name, Resolved& resolved, std::string& error) {
        m_seen += "/" + name;
        if (!resolved.fromTemplate) {
            return stepInArea(m_directories, name, resolved, error);
        }
        resolved.file += "/" + name;
        return lookAt(resolved, error);
    }

    /// Starts again with a path in which the link is replaced by its target.
    void followSymlink(const std::string& directory, Resolved& resolved) {
        const auto target = resolved.target;
        prepend(target, m_components);
        if (!target.starts_with('/')) {
            prepend(directory, m_components);
        }
        toRoot(resolved);
    }

    void up(Resolved& resolved) {
        const auto parent =
            m_seen.substr(0, m_seen.rfind('/') == std::string::npos ? 0 : m_seen.rfind('/'));
        prepend(parent, m_components);
        toRoot(resolved);
    }

    SeenDirectories& m_directories;
    std::deque<std::string> m_components;
    std::string m_seen;  ///< path inside the container that has been resolved
    int m_symlinks = 0;
};

bool addTemplateNames(const std::string& path, std::vector<std::string>& names,
                      std::string& error) {
    std::error_code failure;
    for (const auto& entry : std::filesystem::directory_iterator(path, failure)) {
        names.push_back(entry.path().filename());
    }
    return !failure || failed(path, failure.value(), error);
}

bool namesIn(SeenDirectories& directories, const Resolved& directory,
             std::vector<std::string>& names, std::string& error) {
    if (directory.fromTemplate) {
        return addTemplateNames(directory.file, names, error);
    }
    const auto& seen = directories.at(directory.inside);
    if (seen.failure != 0) {
        return failed(directory.inside, seen.failure, error);
    }
    for (const auto& item : seen.listing.items) {
        if (item.name != kIndexName && item.name != kPackageRefName) {
            names.push_back(item.name);
        }
    }
    for (const auto& [name, link] : seen.indexed) {
        names.push_back(name);
    }
    return seen.magic.empty() ||
           addTemplateNames(directories.area.templateFile(seen.magic), names, error);
}

}  // namespace

bool resolve(const Area& area, const std::string& path, Resolved& resolved, std::string& error) {
    SeenDirectories directories(area);
    return Resolver(directories, path).run(true, resolved, error);
}

base::Fd openResolved(const Area& area, const Resolved& resolved) {
    if (!resolved.fromTemplate) {
        const auto root = openDirectory(area, "/");
        return base::openBelow(root.get(), resolved.inside.substr(1), O_RDONLY | O_NONBLOCK);
    }
    return base::openSuspect(resolved.file.c_str(), O_RDONLY);
}

bool listSeen(const Area& area, const std::string& path, std::vector<SeenEntry>& entries,
              std::string& error) {
    SeenDirectories directories(area);
    Resolved resolved;
    if (!Resolver(directories, path).run(true, resolved, error)) {
        return false;
    }
    if (!S_ISDIR(resolved.info.st_mode)) {
        entries.push_back({path, resolved, resolved.target});
        return true;
    }
    std::vector<std::string> names;
    if (!namesIn(directories, resolved, names, error)) {
        return false;
    }
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    for (const auto& name : names) {
        SeenEntry entry;
        entry.name = name;
        std::string ignored;
        if (Resolver(directories, path + "/" + name).run(false, entry.resolved, ignored)) {
            entry.target = entry.resolved.target;
        }
        entries.push_back(std::move(entry));
    }
    return true;
}

}  // namespace qxfs
