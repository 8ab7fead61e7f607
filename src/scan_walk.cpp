// The walk over a private area: each entry is told by what it is and handed to the visitor.
//
// One directory goes like this:
//   1. its own kind: does it hold an index, or is it a magic link as a whole;
//   2. each entry: examined, its link text read, its kind told, the visitor called, a directory
//      queued;
//   3. with an index: what stands in it only is handed over as well.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "src/common.h"
#include "src/index/area_format.h"
#include "src/namelist.h"
#include "src/qxfsutil.h"

namespace {

constexpr int kUnreadableDirectory = -1;
constexpr int kUnreadableEntry = -2;

struct DirCloser {
    void operator()(DIR* dir) const { closedir(dir); }
};
using DirStream = std::unique_ptr<DIR, DirCloser>;

// The directory's last component is not followed: it was one when it was found, and whoever puts a
// link in its place shall not lead the walk out of the area.
DirStream open_directory(const char* path) {
    const int fd = open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    DIR* dir = fd < 0 ? nullptr : fdopendir(fd);
    if (fd >= 0 && dir == nullptr) {
        close(fd);
    }
    return DirStream(dir);
}

void push_directory(struct scan_queue* queue, const std::string& path) {
    auto* item = static_cast<struct scan_dir*>(malloc(sizeof(struct scan_dir)));
    char* copy = strdup(path.c_str());
    if (item == nullptr || copy == nullptr) {
        free(item);
        free(copy);
        throw std::bad_alloc();
    }
    *item = {queue->head, copy};
    queue->head = item;
    ++queue->count;
}

// Takes the directory found last off the queue.
std::string pop_directory(struct scan_queue* queue) {
    struct scan_dir* item = queue->head;
    std::string path = item->path;
    queue->head = item->next;
    --queue->count;
    free(item->path);
    free(item);
    return path;
}

// The array of texts that read_dirindex gives.
class ItemArray {
public:
    explicit ItemArray(char** items) : items_(items) {}
    ItemArray(const ItemArray&) = delete;
    ItemArray& operator=(const ItemArray&) = delete;
    ~ItemArray() {
        for (char** item = items_; item != nullptr && *item != nullptr; ++item) {
            free(*item);
        }
        free(items_);
    }
    char** get() const { return items_; }

private:
    char** items_;
};

class DirectoryWalk {
public:
    DirectoryWalk(const char* dir, struct scan_queue* queue, scan_visitor visitor, void* cookie)
        : dir_(dir), queue_(queue), visitor_(visitor), cookie_(cookie) {}

    int run();

private:
    // An entry's kind and, where it has one, its link text (in text_).
    struct Finding {
        int kind;
        const char* link;
    };

    int find_directory_bits();
    int visit_entries();
    int visit_entry(const char* name);
    int classify(const char* name, const struct stat& st, Finding& finding);
    int classify_sticky(Finding& finding);
    int classify_symlink(const char* name, Finding& finding);
    int visit_index();
    int visit_index_item(const char* item);
    int call(const char* link, int kind, const struct stat& st) {
        return visitor_(cookie_, path_.c_str(), link, kind | directory_bits_, &st);
    }
    bool indexed() const { return (directory_bits_ & QXFS_KIND_IN_INDEXED_DIR) != 0; }

    const char* dir_;
    struct scan_queue* queue_;
    scan_visitor visitor_;
    void* cookie_;
    int directory_bits_ = 0;
    qxfs::NameList names_;  // what an indexed directory holds itself
    std::string path_;      // of the entry at hand
    char text_[qxfs::kLinkTextMax + 1];
};

int DirectoryWalk::run() {
    int result = find_directory_bits();
    if (result == 0) {
        result = visit_entries();
    }
    if (result == 0 && indexed()) {
        result = visit_index();
    }
    return result;
}

int DirectoryWalk::find_directory_bits() {
    struct stat st {};
    if (lstat(dir_, &st) != 0) {
        return kUnreadableDirectory;
    }
    if ((st.st_mode & qxfs::kIndexedBit) == 0) {
        return 0;
    }
    path_ = dir_;
    path_ += qxfs::kIndexSuffix;
    if (lstat(path_.c_str(), &st) == 0) {
        if (S_ISLNK(st.st_mode)) {
            directory_bits_ = QXFS_KIND_IN_MAGIC_DIR;
        } else if (S_ISREG(st.st_mode)) {
            directory_bits_ = QXFS_KIND_IN_INDEXED_DIR;
        }
    }
    return 0;
}

int DirectoryWalk::visit_entries() {
    const DirStream stream = open_directory(dir_);
    if (stream == nullptr) {
        werror(errno, "can't open directory '%s'", dir_);
        return kUnreadableDirectory;
    }
    for (;;) {
        errno = 0;
        const struct dirent* entry = readdir(stream.get());
        if (entry == nullptr) {
            break;
        }
        const char* name = entry->d_name;
        if (strcmp(name, ".") == 0 || strcmp(name, "..") == 0) {
            continue;
        }
        if (indexed()) {
            if (strcmp(name, qxfs::kIndexName) == 0) {
                continue;
            }
            names_.add(name);
        }
        const int result = visit_entry(name);
        if (result != 0) {
            return result;
        }
    }
    if (errno != 0) {
        werror(errno, "can't read directory '%s'", dir_);
        return kUnreadableDirectory;
    }
    return 0;
}

int DirectoryWalk::visit_entry(const char* name) {
    path_.clear();
    if (strcmp(dir_, ".") != 0) {
        path_.append(dir_).append("/");
    }
    path_ += name;
    struct stat st {};
    if (lstat(path_.c_str(), &st) != 0) {
        return kUnreadableEntry;
    }
    Finding finding{0, nullptr};
    int result = classify(name, st, finding);
    if (result != 0 || finding.kind == 0) {
        return result;
    }
    result = call(finding.link, finding.kind, st);
    if (result == 0 && finding.kind == QXFS_KIND_DIRECTORY) {
        push_directory(queue_, path_);
    }
    return result;
}

// Kind 0 means an entry to pass over.
int DirectoryWalk::classify(const char* name, const struct stat& st, Finding& finding) {
    switch (st.st_mode & S_IFMT) {
        case S_IFREG:
            finding.kind = QXFS_KIND_REGULAR;
            return qxfs::is_shortcut_mode(st.st_mode) ? classify_sticky(finding) : 0;
        case S_IFLNK:
            return classify_symlink(name, finding);
        case S_IFDIR:
            finding.kind = QXFS_KIND_DIRECTORY;
            return 0;
        default:
            finding.kind = QXFS_KIND_OTHER;
            return 0;
    }
}

int DirectoryWalk::classify_sticky(Finding& finding) {
    if (read_shortcut(path_.c_str(), text_, sizeof(text_)) < 0) {
        werror(errno, "error read shortcut'%s'", path_.c_str());
        return kUnreadableEntry;
    }
    if (qxfs::is_magic_link(text_)) {
        finding = {QXFS_KIND_SHORTCUT, text_};
    }
    return 0;
}

int DirectoryWalk::classify_symlink(const char* name, Finding& finding) {
    const ssize_t length = readlink(path_.c_str(), text_, sizeof(text_) - 1);
    if (length < 0) {
        werror(errno, "error read symlink '%s'", path_.c_str());
        return kUnreadableEntry;
    }
    text_[length] = '\0';
    finding = {QXFS_KIND_SYMLINK, text_};
    if (qxfs::is_magic_link(text_)) {
        const bool stray_mark = strcmp(name, qxfs::kIndexName) == 0 && directory_bits_ == 0;
        finding.kind = stray_mark ? 0 : QXFS_KIND_MAGIC_SYMLINK;
    }
    return 0;
}

int DirectoryWalk::visit_index() {
    path_ = dir_;
    path_ += qxfs::kIndexSuffix;
    const ItemArray items(read_dirindex(path_.c_str()));
    if (items.get() == nullptr) {
        QXFS_DEBUG(common::kLevelBasic, "Error read dirindex '%s'\n", path_.c_str());
        return kUnreadableDirectory;
    }
    for (char** item = items.get(); *item != nullptr; ++item) {
        const int result = visit_index_item(*item);
        if (result != 0) {
            return result;
        }
    }
    return 0;
}

int DirectoryWalk::visit_index_item(const char* item) {
    const char* slash = strrchr(item, '/');
    if (slash == nullptr) {
        QXFS_DEBUG(common::kLevelFaults, "can't get name from '%s'\n", item);
        return 0;
    }
    const char* name = slash + 1;
    if (names_.contains(name)) {
        return 0;
    }
    const std::string template_path = std::string(qxfs::kTemplateRoot) + item;
    struct stat st {};
    if (stat(template_path.c_str(), &st) != 0) {
        werror(errno, "can't stat '%s'", template_path.c_str());
        return 0;
    }
    path_.assign(dir_).append("/").append(name);
    return call(item, QXFS_KIND_INDEX_ONLY, st);
}

// The queue of one whole walk, freed with what is left in it.
class OwnedQueue {
public:
    OwnedQueue() = default;
    OwnedQueue(const OwnedQueue&) = delete;
    OwnedQueue& operator=(const OwnedQueue&) = delete;
    ~OwnedQueue() {
        while (!empty()) {
            pop_directory(&queue_);
        }
    }
    bool empty() const { return queue_.head == nullptr; }
    struct scan_queue* get() {
        return &queue_;
    }

private:
    struct scan_queue queue_ = {nullptr, 0};
};

int walk_all(scan_visitor visitor, void* cookie) {
    OwnedQueue queue;
    int result = scan_one_dir(".", queue.get(), visitor, cookie);
    while (result == 0 && !queue.empty()) {
        const std::string dir = pop_directory(queue.get());
        result = scan_one_dir(dir.c_str(), queue.get(), visitor, cookie);
    }
    return result;
}

}  // namespace

int scan_one_dir(const char* dir, struct scan_queue* queue, scan_visitor visitor, void* cookie) {
    try {
        return DirectoryWalk(dir, queue, visitor, cookie).run();
    } catch (const std::bad_alloc&) {
        werror(ENOMEM, "error allocate memory");
        return kUnreadableEntry;
    }
}

int scan_private(const char* path, scan_visitor visitor, void* cookie) {
    const std::unique_ptr<char, decltype(&free)> start(getcwd(nullptr, 0), &free);
    if (chdir(path) != 0) {
        werror(errno, "can't chdir to '%s'", path);
        return -1;
    }
    const int result = walk_all(visitor, cookie);
    const char* back = start != nullptr ? start.get() : "";
    if (chdir(back) != 0) {
        werror(errno, "can't chdir to '%s'", back);
        return result != 0 ? result : -2;
    }
    return result;
}
