// Functions for files and directories: remove a tree, make parent directories, copy, compare.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "base/content.h"
#include "base/fd.h"
#include "base/open_below.h"
#include "src/common.h"
#include "src/qxfsutil.h"

namespace {

constexpr size_t kBlock = 1024;

// Reads until the block is full or the file ends: 0 at the end, -1 on failure.
ssize_t read_block(int fd, char* block) {
    size_t filled = 0;
    while (filled < kBlock) {
        const ssize_t n = read(fd, block + filled, kBlock - filled);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0) {
            return -1;
        }
        if (n == 0) {
            break;
        }
        filled += static_cast<size_t>(n);
    }
    return static_cast<ssize_t>(filled);
}

bool is_regular(int fd) {
    struct stat st {};
    return fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
}

// The messages have no line end; their readers expect that.
int report(const char* call, const std::string& path) {
    fprintf(stderr, "%s(\"%s\") error: %s", call, path.c_str(), strerror(errno));
    return -1;
}

int remove_tree(int parent, const char* name, const std::string& path);

int remove_entry(int dir, const char* name, const std::string& path) {
    struct stat st {};
    if (fstatat(dir, name, &st, AT_SYMLINK_NOFOLLOW) != 0) {
        return report("lstat", path);
    }
    if (S_ISDIR(st.st_mode)) {
        return remove_tree(dir, name, path);
    }
    return unlinkat(dir, name, 0) == 0 ? 0 : report("unlink", path);
}

// Entries are opened from the open directory and not by path, so that a link made meanwhile cannot
// lead elsewhere.
int remove_content(int parent, const char* name, const std::string& path) {
    const int fd =
        openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    const std::unique_ptr<DIR, int (*)(DIR*)> dir(fd < 0 ? nullptr : fdopendir(fd), &closedir);
    if (dir == nullptr) {
        const int result = report("opendir", path);
        if (fd >= 0) {
            close(fd);
        }
        return result;
    }
    for (;;) {
        errno = 0;
        const struct dirent* entry = readdir(dir.get());
        if (entry == nullptr) {
            return errno == 0 ? 0 : report("readdir", path);
        }
        if (strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0) {
            continue;
        }
        if (remove_entry(fd, entry->d_name, path + "/" + entry->d_name) != 0) {
            return -1;
        }
    }
}

// It tries to remove the directory even if removing its content failed.
int remove_tree(int parent, const char* name, const std::string& path) {
    int result = remove_content(parent, name, path);
    if (unlinkat(parent, name, AT_REMOVEDIR) != 0) {
        result = report("rmdir", path);
    }
    return result;
}

}  // namespace

int remove_dir(const char* path) {
    // Remove final slashes, because with them the kernel follows a symbolic link.
    std::string name = path;
    while (name.size() > 1 && name.back() == '/') {
        name.pop_back();
    }
    return remove_tree(AT_FDCWD, name.c_str(), path);
}

int mkdir_p(const char* path, mode_t mode, int skip) {
    const size_t length = strlen(path);
    const auto first = static_cast<size_t>(skip < 0 ? 0 : skip);
    for (size_t i = first; i < length; ++i) {
        // There is no directory to make before a leading slash.
        if (path[i] != '/' || i == 0) {
            continue;
        }
        const std::string prefix(path, i);
        struct stat st {};
        if (lstat(prefix.c_str(), &st) == 0) {
            continue;
        }
        const int result = mkdir(prefix.c_str(), mode);
        if (result != 0 && errno != EEXIST) {
            return result;
        }
    }
    return 0;
}

// Callers rely on these results: -1 and -2 if an open gives descriptor 0, and 0 if a file cannot be
// opened at all, because then there is nothing to copy. Opened files that are not regular fail,
// too.
int copy_reg_file(const char* source, const char* target) {
    const base::Fd from(open(source, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (from.get() == 0 || (from && !is_regular(from.get()))) {
        return -1;
    }
    base::Fd to = base::openToRewrite(target, O_WRONLY);
    if (to.get() == 0 || (!to && errno == EINVAL)) {
        return -2;
    }
    if (!from || !to) {
        return 0;
    }
    char block[kBlock];
    ssize_t length = 0;
    while ((length = read_block(from.get(), block)) > 0) {
        if (!base::writeContent(to.get(), {block, static_cast<size_t>(length)})) {
            return -2;
        }
    }
    if (length < 0) {
        return -1;
    }
    return to.close() == 0 ? 0 : -2;
}

int compare_files(const char* name1, const char* name2) {
    QXFS_ASSERT(name1 && name2);
    const base::Fd first(open(name1, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    const base::Fd second(open(name2, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!first || !second || !is_regular(first.get()) || !is_regular(second.get())) {
        return -1;
    }
    char block1[kBlock];
    char block2[kBlock];
    for (;;) {
        const ssize_t length1 = read_block(first.get(), block1);
        const ssize_t length2 = read_block(second.get(), block2);
        if (length1 < 0 || length2 < 0) {
            return -1;
        }
        if (length1 != length2 || memcmp(block1, block2, static_cast<size_t>(length1)) != 0) {
            return 1;
        }
        if (length1 == 0) {
            return 0;
        }
    }
}
