// Examines and changes trees; see tree.h.
#include "base/tree.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <memory>

#include "base/open_below.h"

namespace base {

namespace {

struct CloseDirectory {
    void operator()(DIR* stream) const { closedir(stream); }
};

std::string joined(const std::string& directory, const std::string& name) {
    return directory.empty() ? name : directory + "/" + name;
}

// No path can name anything in a deeper tree.
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

// True if a change of owner failed for lack of rights (also in this user namespace), and not
// because of the disk.
bool lacksRights(int reason) {
    return reason == EPERM || reason == EINVAL;
}

}  // namespace

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

std::optional<std::vector<std::string>> namesIn(int directory) {
    // Use a new descriptor: a stream takes over its descriptor and moves the position.
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

bool applyAttributes(int fd, const struct stat& attributes) {
    mode_t mode = attributes.st_mode & 07777;
    if (fchown(fd, attributes.st_uid, attributes.st_gid) != 0) {
        if (!lacksRights(errno)) {
            return false;
        }
        mode &= ~static_cast<mode_t>(S_ISUID | S_ISGID);
    }
    // Set the mode after the owner, because a change of owner clears set-id bits.
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

}  // namespace base
