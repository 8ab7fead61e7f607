// Files below a directory, without following links.
#include "node/agent/tem/files.h"

#include <dirent.h>
#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <istream>
#include <memory>

#include "node/agent/tem/failure.h"
#include "node/support/confined.h"
#include "node/support/file_content.h"

namespace QXA::tem {

namespace {

struct CloseDirectory {
    void operator()(DIR* stream) const { closedir(stream); }
};

std::string joined(const std::string& directory, const std::string& name) {
    return directory.empty() ? name : directory + "/" + name;
}

// A deeper tree than this cannot be named by one path anyway.
constexpr std::size_t kMaxDepth = PATH_MAX / 2;

bool removeContents(int directory, std::size_t depth) {
    const auto names = namesIn(directory);
    if (!names) {
        return false;
    }
    for (const std::string& name : *names) {
        if (unlinkat(directory, name.c_str(), 0) == 0 || errno == ENOENT) {
            continue;
        }
        if (errno != EISDIR && errno != EPERM) {
            return false;
        }
        if (depth >= kMaxDepth) {
            errno = ENAMETOOLONG;
            return false;
        }
        const Fd below = openBelow(directory, name, O_RDONLY | O_DIRECTORY);
        if (!below || !removeContents(below.get(), depth + 1) ||
            unlinkat(directory, name.c_str(), AT_REMOVEDIR) != 0) {
            return false;
        }
    }
    return true;
}

bool walk(int directory, const std::string& prefix,
          const std::function<void(const std::string&, const struct stat&)>& visit,
          std::string& failed, std::size_t depth) {
    failed = prefix;
    const auto names = namesIn(directory);
    if (!names) {
        return false;
    }
    for (const std::string& name : *names) {
        const std::string path = joined(prefix, name);
        failed = path;
        struct stat st {};
        if (fstatat(directory, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) {
            return false;
        }
        visit(path, st);
        if (!S_ISDIR(st.st_mode)) {
            continue;
        }
        if (depth >= kMaxDepth) {
            errno = ENAMETOOLONG;
            return false;
        }
        const Fd below = openBelow(directory, name, O_RDONLY | O_DIRECTORY);
        if (!below || !walk(below.get(), path, visit, failed, depth + 1)) {
            return false;
        }
    }
    return true;
}

// Whether a refused change of owner is a lack of rights, here or in this user namespace, rather
// than a fault of the disk.
bool lacksRights(int reason) {
    return reason == EPERM || reason == EINVAL;
}

}  // namespace

Fd openBelow(int directory, const std::string& path, int flags, mode_t mode) {
    return qxnode::openWithoutLinks(directory, path, flags | O_NOFOLLOW, mode);
}

Fd openParent(int directory, const std::string& path, std::string& name) {
    const std::size_t slash = path.rfind('/');
    name = slash == std::string::npos ? path : path.substr(slash + 1);
    return openBelow(directory, slash == std::string::npos ? "." : path.substr(0, slash),
                     O_RDONLY | O_DIRECTORY);
}

std::optional<struct stat> statBelow(int directory, const std::string& path) {
    std::string name;
    const Fd parent = openParent(directory, path, name);
    struct stat st {};
    if (!parent || fstatat(parent.get(), name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) {
        return std::nullopt;
    }
    return st;
}

std::optional<std::string> readLinkBelow(int directory, const std::string& path) {
    std::string name;
    const Fd parent = openParent(directory, path, name);
    if (!parent) {
        return std::nullopt;
    }
    char target[PATH_MAX];
    const ssize_t length = readlinkat(parent.get(), name.c_str(), target, sizeof(target));
    if (length < 0) {
        return std::nullopt;
    }
    if (static_cast<std::size_t>(length) == sizeof(target)) {
        errno = ENAMETOOLONG;
        return std::nullopt;
    }
    return std::string(target, static_cast<std::size_t>(length));
}

std::optional<std::string> readFileBelow(int directory, const std::string& path,
                                         std::size_t limit) {
    // Non-blocking, so that a pipe put in the file's place cannot hold us up.
    const Fd file = openBelow(directory, path, O_RDONLY | O_NONBLOCK);
    return file ? qxnode::readContent(file.get(), limit) : std::nullopt;
}

std::optional<std::vector<std::string>> namesIn(int directory) {
    // A descriptor of its own, since a stream takes the one that it is given and its position.
    const int own = openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (own < 0) {
        return std::nullopt;
    }
    const std::unique_ptr<DIR, CloseDirectory> stream(fdopendir(own));
    if (!stream) {
        close(own);
        return std::nullopt;
    }
    std::vector<std::string> names;
    for (;;) {
        errno = 0;
        const struct dirent* entry = readdir(stream.get());
        if (entry == nullptr) {
            break;
        }
        const std::string_view name(entry->d_name);
        if (name != "." && name != "..") {
            names.emplace_back(name);
        }
    }
    if (errno != 0) {
        return std::nullopt;
    }
    std::sort(names.begin(), names.end());
    return names;
}

Fd makeDirectories(int directory, const std::string& path) {
    Fd current = openBelow(directory, ".", O_RDONLY | O_DIRECTORY);
    std::size_t begin = 0;
    while (current && begin < path.size()) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        const std::string name = path.substr(begin, end - begin);
        begin = end + 1;
        if (name.empty()) {
            continue;
        }
        if (mkdirat(current.get(), name.c_str(), 0755) != 0 && errno != EEXIST) {
            return {};
        }
        current = openBelow(current.get(), name, O_RDONLY | O_DIRECTORY);
    }
    return current;
}

bool removeTree(int directory, const std::string& name) {
    if (unlinkat(directory, name.c_str(), 0) == 0 || errno == ENOENT) {
        return true;
    }
    if (errno != EISDIR && errno != EPERM) {
        return false;
    }
    const Fd tree = openBelow(directory, name, O_RDONLY | O_DIRECTORY);
    return tree && removeContents(tree.get(), 0) &&
           unlinkat(directory, name.c_str(), AT_REMOVEDIR) == 0;
}

bool writeFileDurably(int directory, const std::string& name, const std::string& content,
                      mode_t mode) {
    const std::string beside = "." + name + ".new";
    // Left by a writer that was killed: writers are alone under their lock.
    if (unlinkat(directory, beside.c_str(), 0) != 0 && errno != ENOENT) {
        return false;
    }
    const Fd file = openBelow(directory, beside, O_WRONLY | O_CREAT | O_EXCL, 0600);
    const bool renamed = file && qxnode::writeContent(file.get(), content) &&
                         fchmod(file.get(), mode) == 0 && fsync(file.get()) == 0 &&
                         renameat2(directory, beside.c_str(), directory, name.c_str(), 0) == 0;
    if (!renamed) {
        const int reason = errno;
        unlinkat(directory, beside.c_str(), 0);
        errno = reason;
        return false;
    }
    return flushDirectory(directory);
}

void takeHeading(std::istream& lines, const std::string& heading, const std::string& source) {
    std::string line;
    if (std::getline(lines, line) && line == heading) {
        return;
    }
    const std::size_t version = heading.rfind(' ') + 1;
    const bool newer = line.starts_with(heading.substr(0, version)) && line.size() > version &&
                       line.size() < version + 10 &&
                       line.find_first_not_of("0123456789", version) == std::string::npos;
    throw Failure(kTemFailed,
                  source + (newer ? ": '" + line + "' is of a newer version of this program"
                                  : ": bad line 1"));
}

bool flushDirectory(int directory) {
    return fsync(directory) == 0;
}

bool applyAttributes(int fd, const struct stat& attributes) {
    mode_t mode = attributes.st_mode & 07777;
    if (fchown(fd, attributes.st_uid, attributes.st_gid) != 0) {
        if (!lacksRights(errno)) {
            return false;
        }
        mode &= ~static_cast<mode_t>(S_ISUID | S_ISGID);
    }
    // The mode after the owner: a change of owner takes set-id bits away.
    const struct timespec times[2] = {attributes.st_atim, attributes.st_mtim};
    return fchmod(fd, mode) == 0 && futimens(fd, times) == 0;
}

bool applyLinkAttributes(int directory, const std::string& name, const struct stat& attributes) {
    if (fchownat(directory, name.c_str(), attributes.st_uid, attributes.st_gid,
                 AT_SYMLINK_NOFOLLOW) != 0 &&
        !lacksRights(errno)) {
        return false;
    }
    const struct timespec times[2] = {attributes.st_atim, attributes.st_mtim};
    return utimensat(directory, name.c_str(), times, AT_SYMLINK_NOFOLLOW) == 0;
}

bool walkTree(int directory,
              const std::function<void(const std::string&, const struct stat&)>& visit,
              std::string& failed) {
    return walk(directory, "", visit, failed, 0);
}

}  // namespace QXA::tem
