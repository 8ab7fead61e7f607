// The exported scan of one directory into the entry list from which its index is written: says what
// src/index/scan.h meets, and makes shortcuts of magic symlinks where it is asked to.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>

#include "src/common.h"
#include "src/dirindex_model.h"
#include "src/index/area_format.h"
#include "src/index/scan.h"
#include "src/qxfsutil.h"

struct namelist* rl_info = nullptr;

namespace {

using common::kLevelDetails;
using common::kLevelFaults;
using dirindex::ScanAnswer;
using dirindex::ScanListener;
using dirindex::ScanRemark;

constexpr int kIndexed = 0;
constexpr int kFatal = 1;
constexpr int kNotIndexable = 3;
constexpr int kSubstituteSymlinks = 0x10;  // bit of `mode`

bool is_dot(const char* name) {
    return strcmp(name, ".") == 0 || strcmp(name, "..") == 0;
}

// Replaces a magic symlink by a shortcut with the same text, or changes nothing.
bool substitute_symlink(const char* name, const char* text, const struct stat& link) {
    QXFS_DEBUG(kLevelDetails, "Substitute magic symlink '%s/%s' for shortcut\n", current_path,
               name);
    if (unlink(name) != 0) {
        werror(errno, "Can't remove symlink '%s/%s'", current_path, name);
        return false;
    }
    struct stat st = link;
    st.st_mode = (st.st_mode ^ S_IFLNK) | S_IFREG | qxfs::kShortcutBit;
    if (create_shortcut(name, text, strlen(text), &st) != 0) {
        // Remove the unfinished shortcut and restore the link, which is all that the container has.
        unlink(name);
        if (symlink(text, name) != 0 || set_attr(name, &link) != 0) {
            werror(errno, "Can't restore symlink '%s/%s'", current_path, name);
        }
        return false;
    }
    return true;
}

// Says what the scan meets, and lists what it gives.
class Listener : public ScanListener {
public:
    explicit Listener(int mode) : mode_(mode) {}

    void remark(ScanRemark remark, const char* name, const char* text, int reason) override;
    void directory() override { ++dtot; }
    bool magicSymlink(const char* name, const char* text, const struct stat& info) override {
        return (mode_ & kSubstituteSymlinks) == 0 || substitute_symlink(name, text, info);
    }
    void superfluous(const char* name, const struct stat&) override {
        namelist_add(&rl_info, name);
    }
    void entry(uint8_t type, const char* name, uint32_t tag, const char* link) override {
        poolstr* string = link != nullptr ? pool_add(link) : nullptr;
        dirindex::append_dent(dirindex::new_dent(type, name, strlen(name), tag, string));
    }

private:
    int mode_;
};

void Listener::remark(ScanRemark remark, const char* name, const char* text, int reason) {
    switch (remark) {
        case ScanRemark::hardLinked:
            QXFS_DEBUG(kLevelDetails, "Warning: hard-linked file '%s/%s'\n", current_path, name);
            break;
        case ScanRemark::plainDirectory:
            QXFS_DEBUG(kLevelDetails, "WARNING: directory %s\n", name);
            break;
        case ScanRemark::indexedDirectory:
            QXFS_DEBUG(kLevelDetails, "WARNING: dirindex directory '%s'\n", name);
            break;
        case ScanRemark::plainSymlink:
            QXFS_DEBUG(kLevelDetails, "WARNING: symlink %s -> %s\n", name, text);
            break;
        case ScanRemark::plainFile:
            QXFS_DEBUG(kLevelDetails, "WARNING: regular file '%s'\n", name);
            break;
        case ScanRemark::ownFlags:
            QXFS_DEBUG(kLevelFaults, "ext attributes '%s/%s'\n", current_path, name);
            break;
        case ScanRemark::otherName:
            QXFS_DEBUG(kLevelDetails, "Warning: check hard link '%s/%s' -> '%s'\n", current_path,
                       name, text);
            break;
        case ScanRemark::otherAttributes:
            QXFS_DEBUG(kLevelDetails, "Warning: file attributes mistmatch on '%s/%s'\n",
                       current_path, name);
            break;
        case ScanRemark::cannotLookAt:
            warning(reason, "can't stat '%s/%s'", current_path, name);
            break;
        case ScanRemark::nameTooLong:
            warning(0, "Too long name '%s/%s', fix it", current_path, name);
            break;
        case ScanRemark::specialFile:
            QXFS_DEBUG(kLevelDetails, "Special file '%s/%s'\n", current_path, name);
            break;
        case ScanRemark::cannotReadMark:
            warning(reason, "readlink '%s'", text);
            break;
        case ScanRemark::cannotReadSymlink:
            werror(reason, "can't readlink '%s/%s'", current_path, name);
            break;
        case ScanRemark::cannotOpen:
            werror(reason, "can't open '%s/%s'", current_path, name);
            break;
        case ScanRemark::cannotRead:
            werror(reason, "can't read '%s/%s'", current_path, name);
            break;
        case ScanRemark::noMagicLink:
            QXFS_DEBUG(kLevelFaults, "Not a magic link '%s/%s' -> %s\n", current_path, name, text);
            break;
        case ScanRemark::noTemplateFile:
            warning(reason, "can't stat template '%s'", text);
            break;
        case ScanRemark::wrongTemplateFile:
            werror(0, "magic link %s points to something wrong", text);
            break;
        case ScanRemark::otherFile:
            QXFS_DEBUG(kLevelDetails, "Warning: name mistmatch on '%s/%s'\n", current_path, name);
            break;
    }
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

// Reads all names before the scan: the scan may replace an entry, and a directory that changes
// while it is read can return an entry twice.
bool read_names(Names& names) {
    const std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir("."), &closedir);
    return dir != nullptr && names.read_all(dir.get());
}

}  // namespace

int scan_one(const char* name, int mode, const char* root) {
    Listener listener(mode);
    switch (dirindex::scanName(AT_FDCWD, name, root, listener)) {
        case ScanAnswer::indexable:
            return kIndexed;
        case ScanAnswer::ended:
            return kFatal;
        default:
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
