// The scan of one directory into the entry list from which its index is written.
//
// An entry ends as one of three: a plain one (an inode of the directory itself), one that stands
// for a template file (and whose own file the index then makes redundant), or one that no index can
// describe, which keeps the directory from being indexed as it stands.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "base/fd.h"
#include "base/open_below.h"
#include "src/common.h"
#include "src/dirindex_model.h"
#include "src/index/area_format.h"
#include "src/inode_flags.h"
#include "src/qxfsutil.h"

struct namelist* rl_info = nullptr;

namespace {

using common::kLevelDetails;
using common::kLevelFaults;

constexpr int kIndexed = 0;
constexpr int kFatal = 1;
constexpr int kNotIndexable = 3;
constexpr int kSubstituteSymlinks = 0x10;  // bit of `mode`

struct Entry {
    const char* name;
    size_t length;
    struct stat st;
    bool keep;  // its file stays although the index describes it
};

// Path of a template file: the root directly followed by a link text, in one buffer of fixed room.
class TemplatePath {
public:
    explicit TemplatePath(const char* root) : root_length_(strlen(root)) {
        if (root_length_ < qxfs::kLinkTextMax) {
            memcpy(buffer_, root, root_length_);
        } else {
            root_length_ = qxfs::kLinkTextMax;  // no room is left for any text
        }
        text()[0] = '\0';
    }

    const char* path() const { return buffer_; }
    char* text() { return buffer_ + root_length_; }
    size_t room() const { return qxfs::kLinkTextMax - root_length_; }

    // What a reader may fill: one byte more than there is room for, so that too long a text shows.
    size_t readable() const { return room() + 1; }

    // Ends a text of that many bytes read; false with ENAMETOOLONG when it does not fit. Only a
    // magic link needs to fit: other content is nothing but cut short.
    bool finish(size_t length) {
        text()[std::min(length, room())] = '\0';
        if (length > room() && may_be_magic()) {
            errno = ENAMETOOLONG;
            return false;
        }
        return true;
    }

    // Puts a name in the place of what follows the last slash; false when it does not fit.
    bool replace_last(const char* slash, const Entry& entry) {
        const auto before = static_cast<size_t>(slash + 1 - text());
        if (entry.length > room() - before) {
            return false;
        }
        memcpy(text() + before, entry.name, entry.length + 1);
        return true;
    }

private:
    // A long root leaves less room than what a magic link begins with.
    bool may_be_magic() {
        const size_t known = std::min(room(), qxfs::kMagicPrefix.size());
        return qxfs::kMagicPrefix.starts_with(std::string_view(text(), known));
    }

    size_t root_length_;
    char buffer_[qxfs::kLinkTextMax + 2];
};

int append(const Entry& entry, mode_t mode, uint32_t tag, poolstr* link) {
    dirindex::append_dent(
        dirindex::new_dent(qxfs::entry_type(mode), entry.name, entry.length, tag, link));
    return kIndexed;
}

// The arithmetic of both kinds of tag wraps at 32 bits.
int append_plain(const Entry& entry) {
    return append(entry, entry.st.st_mode, static_cast<uint32_t>(entry.st.st_ino) * 2, nullptr);
}

bool template_type_fits(const Entry& entry, const struct stat& st) {
    return S_ISREG(st.st_mode) || S_ISLNK(st.st_mode) ||
           (S_ISDIR(st.st_mode) && S_ISDIR(entry.st.st_mode));
}

// A link whose last component is not the entry's name holds when the template file also has that
// name in the same directory, that is, as a hard link.
bool rename_in_link(Entry& entry, TemplatePath& link, const char* slash, const struct stat& st) {
    const bool fits = link.replace_last(slash, entry);
    QXFS_DEBUG(kLevelDetails, "Warning: check hard link '%s/%s' -> '%s'\n", current_path,
               entry.name, link.text());
    struct stat renamed {};
    if (!fits || lstat(link.path(), &renamed) != 0 || renamed.st_ino != st.st_ino) {
        QXFS_DEBUG(kLevelDetails, "Warning: name mistmatch on '%s/%s'\n", current_path, entry.name);
        return false;
    }
    entry.keep = true;
    return true;
}

int resolve(Entry& entry, TemplatePath& link) {
    if (!qxfs::is_magic_link(link.text())) {
        QXFS_DEBUG(kLevelFaults, "Not a magic link '%s/%s' -> %s\n", current_path, entry.name,
                   link.text());
        return kNotIndexable;
    }
    struct stat st {};
    if (lstat(link.path(), &st) != 0) {
        warning(errno, "can't stat template '%s'", link.path());
        return kNotIndexable;
    }
    if (!template_type_fits(entry, st)) {
        werror(0, "magic link %s points to something wrong", link.text());
        return kNotIndexable;
    }
    char* slash = strrchr(link.text(), '/');
    if (strcmp(slash + 1, entry.name) != 0 && !rename_in_link(entry, link, slash, st)) {
        return kNotIndexable;
    }
    *slash = '\0';
    if (compare_stat(&entry.st, &st) != 0) {
        QXFS_DEBUG(kLevelDetails, "Warning: file attributes mistmatch on '%s/%s'\n", current_path,
                   entry.name);
        entry.keep = true;
    }
    if (!entry.keep && !S_ISDIR(entry.st.st_mode)) {
        namelist_add(&rl_info, entry.name);
    }
    return append(entry, st.st_mode, static_cast<uint32_t>(st.st_ino) * 2 + 1,
                  pool_add(link.text()));
}

bool is_dot(const char* name) {
    return strcmp(name, ".") == 0 || strcmp(name, "..") == 0;
}

int scan_directory(Entry& entry, const char* root) {
    ++dtot;
    if ((entry.st.st_mode & qxfs::kIndexedBit) == 0 || is_dot(entry.name)) {
        QXFS_DEBUG(kLevelDetails, "WARNING: directory %s\n", entry.name);
        return append_plain(entry);
    }
    const std::string mark = std::string(entry.name) + qxfs::kIndexSuffix;
    TemplatePath link(root);
    const ssize_t length = readlink(mark.c_str(), link.text(), link.readable());
    if (length < 0 && errno == EINVAL) {
        QXFS_DEBUG(kLevelDetails, "WARNING: dirindex directory '%s'\n", entry.name);
        return append_plain(entry);
    }
    if (length < 0 || !link.finish(static_cast<size_t>(length))) {
        warning(errno, "readlink '%s'", mark.c_str());
        return kNotIndexable;
    }
    return resolve(entry, link);
}

// Makes a shortcut of the same text in the place of a magic symlink, or leaves all as it was.
int substitute_symlink(const Entry& entry, const char* text) {
    QXFS_DEBUG(kLevelDetails, "Substitute magic symlink '%s/%s' for shortcut\n", current_path,
               entry.name);
    if (unlink(entry.name) != 0) {
        werror(errno, "Can't remove symlink '%s/%s'", current_path, entry.name);
        return kFatal;
    }
    struct stat st = entry.st;
    st.st_mode = (st.st_mode ^ S_IFLNK) | S_IFREG | qxfs::kShortcutBit;
    if (create_shortcut(entry.name, text, strlen(text), &st) != 0) {
        // What was begun goes, and the link comes back: it is all that the container has of it.
        unlink(entry.name);
        if (symlink(text, entry.name) != 0 || set_attr(entry.name, &entry.st) != 0) {
            werror(errno, "Can't restore symlink '%s/%s'", current_path, entry.name);
        }
        return kFatal;
    }
    return kIndexed;
}

int scan_symlink(Entry& entry, int mode, const char* root) {
    TemplatePath link(root);
    const ssize_t length = readlink(entry.name, link.text(), link.readable());
    if (length < 0 || !link.finish(static_cast<size_t>(length))) {
        werror(errno, "can't readlink '%s/%s'", current_path, entry.name);
        return kNotIndexable;
    }
    if (!qxfs::is_magic_link(link.text())) {
        QXFS_DEBUG(kLevelDetails, "WARNING: symlink %s -> %s\n", entry.name, link.text());
        return append_plain(entry);
    }
    if ((mode & kSubstituteSymlinks) != 0 && substitute_symlink(entry, link.text()) != kIndexed) {
        return kFatal;
    }
    return resolve(entry, link);
}

int scan_sticky(Entry& entry, const char* root) {
    const base::Fd fd = base::openSuspect(entry.name, O_RDONLY);
    if (!fd) {
        werror(errno, "can't open '%s/%s'", current_path, entry.name);
        return kNotIndexable;
    }
    if (qxfs::has_user_flags(fd.get())) {
        QXFS_DEBUG(kLevelFaults, "ext attributes '%s/%s'\n", current_path, entry.name);
        entry.keep = true;
    }
    TemplatePath link(root);
    const size_t readable = std::min(link.readable(), qxfs::kLinkTextMax);
    const ssize_t length = read(fd.get(), link.text(), readable);
    if (length < 0 || !link.finish(static_cast<size_t>(length))) {
        werror(errno, "can't read '%s/%s'", current_path, entry.name);
        return kNotIndexable;
    }
    return resolve(entry, link);
}

int scan_regular(Entry& entry, const char* root) {
    if (qxfs::is_shortcut_mode(entry.st.st_mode)) {
        return scan_sticky(entry, root);
    }
    QXFS_DEBUG(kLevelDetails, "WARNING: regular file '%s'\n", entry.name);
    return append_plain(entry);
}

// Names of a directory one after the other, each with its NUL.
class Names {
public:
    // False, with errno, when they cannot be read to the end.
    bool read_all(DIR* dir) {
        for (;;) {
            errno = 0;
            const struct dirent* entry = readdir(dir);
            if (entry == nullptr) {
                return errno == 0;
            }
            if (strcmp(entry->d_name, qxfs::kPackageRefName) != 0 &&
                strcmp(entry->d_name, qxfs::kIndexName) != 0) {
                names_.append(entry->d_name, strlen(entry->d_name) + 1);
            }
        }
    }

    // Calls for each name until an answer asks to stop; returns that answer.
    template <class Visit>
    int for_each(Visit visit) const {
        for (size_t at = 0; at < names_.size(); at += strlen(&names_[at]) + 1) {
            const int result = visit(&names_[at]);
            if (result == kFatal) {
                return result;
            }
        }
        return kIndexed;
    }

private:
    std::string names_;
};

// All names are read before any is scanned: the scan may replace an entry, and a directory that
// changes while it is read can give an entry twice.
bool read_names(Names& names) {
    const std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir("."), &closedir);
    return dir != nullptr && names.read_all(dir.get());
}

}  // namespace

int scan_one(const char* name, int mode, const char* root) {
    Entry entry{name, strlen(name), {}, false};
    if (lstat(name, &entry.st) != 0) {
        warning(errno, "can't stat '%s/%s'", current_path, name);
        return kNotIndexable;
    }
    if (entry.length > qxfs::kNameMax) {
        warning(0, "Too long name '%s/%s', fix it", current_path, name);
        return kNotIndexable;
    }
    if (!S_ISDIR(entry.st.st_mode) && entry.st.st_nlink > 1) {
        QXFS_DEBUG(kLevelDetails, "Warning: hard-linked file '%s/%s'\n", current_path, name);
        entry.keep = true;
    }
    switch (entry.st.st_mode & S_IFMT) {
        case S_IFDIR:
            return scan_directory(entry, root);
        case S_IFLNK:
            return scan_symlink(entry, mode, root);
        case S_IFREG:
            return scan_regular(entry, root);
        default:
            QXFS_DEBUG(kLevelDetails, "Special file '%s/%s'\n", current_path, name);
            return kNotIndexable;
    }
}

int scan_dir_for_index(const char* root, int mode) {
    dirindex::begin_operation();
    namelist_clean(&rl_info);
    Names names;
    if (!read_names(names)) {
        werror(errno, "Can't open dir '%s'", current_path);
        return kFatal;
    }
    bool has_content = false;
    bool all_indexable = true;
    const int result = names.for_each([&](const char* name) {
        const int answer = scan_one(name, mode, root);
        has_content = has_content || !is_dot(name);
        all_indexable = all_indexable && answer != kNotIndexable;
        return answer;
    });
    if (result == kFatal) {
        return kFatal;
    }
    QXFS_DEBUG(kLevelDetails, "Scanned %d entries, %d dirs\n", static_cast<int>(tot),
               static_cast<int>(dtot));
    return has_content && all_indexable ? kIndexed : kNotIndexable;
}
