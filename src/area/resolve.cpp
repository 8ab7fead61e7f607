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
#include "src/area/confined.h"
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

/// Entries that a directory of the area has only through its index, by name: link texts.
std::map<std::string, std::string> indexedNames(const Area& area, const std::string& inside,
                                                const DirectoryListing& listing) {
    std::map<std::string, std::string> names;
    const auto* item = listing.find(dirindex::kIndexName);
    if (item == nullptr || !S_ISREG(item->info.st_mode) || !listing.isMarked()) {
        return names;
    }
    const auto directory = openDirectory(area, inside);
    for (const auto& entry :
         dirindex::readIndexFile(directory.get(), dirindex::kIndexName).entries) {
        if (entry.link.has_value() && listing.find(entry.name) == nullptr) {
            names.emplace(entry.name, *entry.link + "/" + entry.name);
        }
    }
    return names;
}

/// The link text of a directory whose "._qxlnk_." is a magic symlink.
std::string magicOf(const DirectoryListing& listing) {
    const auto* item = listing.find(dirindex::kIndexName);
    return item != nullptr && item->isSymlink() && listing.isMarked() ? item->link : "";
}

bool failed(const std::string& path, int failure, std::string& error) {
    error = "can't look at '" + path + "': " + std::strerror(failure);
    return false;
}

bool lookAt(Resolved& resolved, std::string& error) {
    return lstat(resolved.file.c_str(), &resolved.info) == 0 || failed(resolved.file, errno, error);
}

bool toTemplate(const Area& area, const std::string& link, Resolved& resolved, std::string& error) {
    if ((link + "/").find("/../") != std::string::npos) {
        error = "the link '" + link + "' leads out of the template area";
        return false;
    }
    resolved.file = area.templateFile(link);
    resolved.inside.clear();
    resolved.fromTemplate = true;
    return lookAt(resolved, error);
}

/// One step down from a directory of the area.
bool stepInArea(const Area& area, const std::string& name, Resolved& resolved, std::string& error) {
    DirectoryListing listing;
    const int failure = readDirectory(area, resolved.inside, listing);
    if (failure != 0) {
        return failed(resolved.inside, failure, error);
    }
    if (const auto* item = listing.find(name)) {
        if (item->isLink()) {
            return toTemplate(area, item->link, resolved, error);
        }
        resolved.inside = joined(resolved.inside, name);
        resolved.file = area.absolute(resolved.inside);
        resolved.info = item->info;
        return item->failure == 0 || failed(resolved.file, item->failure, error);
    }
    const auto magic = magicOf(listing);
    if (!magic.empty()) {
        return toTemplate(area, magic + "/" + name, resolved, error);
    }
    const auto names = indexedNames(area, resolved.inside, listing);
    const auto found = names.find(name);
    return found == names.end() ? failed(joined(resolved.inside, name), ENOENT, error)
                                : toTemplate(area, found->second, resolved, error);
}

class Resolver {
public:
    Resolver(const Area& area, const std::string& path) : m_area(area) {
        prepend(path, m_components);
    }

    /// @param followLast a symbolic link at the end of the path is followed too.
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
        resolved.file = m_area.root;
        resolved.info.st_mode = S_IFDIR;
        m_seen.clear();
    }

    bool step(const std::string& name, Resolved& resolved, std::string& error) {
        m_seen += "/" + name;
        if (!resolved.fromTemplate) {
            return stepInArea(m_area, name, resolved, error);
        }
        resolved.file += "/" + name;
        return lookAt(resolved, error);
    }

    /// Goes back to the start and takes the path again, with the link's target in its place.
    void followSymlink(const std::string& directory, Resolved& resolved) {
        std::error_code ignored;
        const auto target = std::filesystem::read_symlink(resolved.file, ignored).string();
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

    const Area& m_area;
    std::deque<std::string> m_components;
    std::string m_seen;  ///< path inside the container that has been resolved
    int m_symlinks = 0;
};

std::string targetOf(const Resolved& resolved) {
    std::error_code ignored;
    return S_ISLNK(resolved.info.st_mode)
               ? std::filesystem::read_symlink(resolved.file, ignored).string()
               : "";
}

bool namesIn(const Area& area, const Resolved& directory, std::vector<std::string>& names,
             std::string& error) {
    const auto addPlain = [&](const std::string& path) {
        std::error_code failure;
        for (const auto& entry : std::filesystem::directory_iterator(path, failure)) {
            names.push_back(entry.path().filename());
        }
        return !failure || failed(path, failure.value(), error);
    };
    if (directory.fromTemplate) {
        return addPlain(directory.file);
    }
    DirectoryListing listing;
    const int failure = readDirectory(area, directory.inside, listing);
    if (failure != 0) {
        return failed(directory.inside, failure, error);
    }
    for (const auto& item : listing.items) {
        if (item.name != dirindex::kIndexName && item.name != dirindex::kPackageRefName) {
            names.push_back(item.name);
        }
    }
    for (const auto& [name, link] : indexedNames(area, directory.inside, listing)) {
        names.push_back(name);
    }
    const auto magic = magicOf(listing);
    return magic.empty() || addPlain(area.templateFile(magic));
}

}  // namespace

bool resolve(const Area& area, const std::string& path, Resolved& resolved, std::string& error) {
    return Resolver(area, path).run(true, resolved, error);
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
    Resolved resolved;
    if (!resolve(area, path, resolved, error)) {
        return false;
    }
    if (!S_ISDIR(resolved.info.st_mode)) {
        entries.push_back({path, resolved, targetOf(resolved)});
        return true;
    }
    std::vector<std::string> names;
    if (!namesIn(area, resolved, names, error)) {
        return false;
    }
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    for (const auto& name : names) {
        SeenEntry entry;
        entry.name = name;
        std::string ignored;
        if (Resolver(area, path + "/" + name).run(false, entry.resolved, ignored)) {
            entry.target = targetOf(entry.resolved);
        }
        entries.push_back(std::move(entry));
    }
    return true;
}

}  // namespace qxfs
