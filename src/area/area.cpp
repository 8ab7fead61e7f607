// Opens areas and reads their directories.
#include "src/area/area.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>

#include "base/fd.h"
#include "base/name_table.h"
#include "base/open_below.h"
#include "src/area/confined.h"
#include "src/area_format.h"

namespace qxfs {

namespace {

struct CloseDirectory {
    void operator()(DIR* directory) const { closedir(directory); }
};

/// Content of a sticky regular file, of which at most 4096 bytes count.
bool readShortcut(int directory, const std::string& name, std::string& text) {
    const base::Fd file(
        openat(directory, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    std::array<char, qxfs::kLinkTextMax> buffer;
    const auto got = file ? read(file.get(), buffer.data(), buffer.size()) : -1;
    if (got < 0) {
        return false;
    }
    text.assign(buffer.data(), static_cast<std::size_t>(got));
    return true;
}

bool readSymlink(int directory, const std::string& name, std::string& text) {
    std::array<char, qxfs::kLinkTextMax> buffer;
    const auto got = readlinkat(directory, name.c_str(), buffer.data(), buffer.size());
    if (got < 0) {
        return false;
    }
    text.assign(buffer.data(), static_cast<std::size_t>(got));
    return true;
}

void readLink(int directory, DirectoryItem& item) {
    const bool sticky = S_ISREG(item.info.st_mode) && (item.info.st_mode & S_ISVTX) != 0;
    if (!sticky && !S_ISLNK(item.info.st_mode)) {
        return;
    }
    std::string text;
    const bool read =
        sticky ? readShortcut(directory, item.name, text) : readSymlink(directory, item.name, text);
    if (!read) {
        item.linkUnreadable = true;
        item.failure = errno;
    }
    if (read && qxfs::is_magic_link(text.c_str())) {
        item.link = std::move(text);
    }
}

/// @return 0 or an errno.
int readNames(DIR* stream, std::vector<std::string>& names) {
    errno = 0;
    while (const auto* entry = readdir(stream)) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") {
            names.emplace_back(name);
        }
    }
    return errno;
}

void readItem(int directory, DirectoryItem& item) {
    if (fstatat(directory, item.name.c_str(), &item.info, AT_SYMLINK_NOFOLLOW) != 0) {
        item.failure = errno;
    } else {
        readLink(directory, item);
    }
}

}  // namespace

base::Fd openDirectory(const Area& area, const std::string& inside) {
    const base::Fd root(open(area.root.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    return root ? base::openBelow(root.get(), inside.substr(1), O_RDONLY | O_DIRECTORY)
                : base::Fd();
}

std::string joined(const std::string& inside, const std::string& name) {
    return inside == "/" ? "/" + name : inside + "/" + name;
}

std::string Area::absolute(const std::string& inside) const {
    return inside == "/" ? root : root + inside;
}

std::string Area::templateFile(const std::string& link) const {
    std::string relative = link;
    relative.erase(0, std::min(relative.find_first_not_of('/'), relative.size()));
    return templateRoot + "/" + relative;
}

bool openArea(const std::string& path, const std::string& templateRoot, Area& area,
              std::string& error) {
    std::error_code failure;
    const auto absolute = std::filesystem::canonical(path, failure);
    if (failure || !std::filesystem::is_directory(absolute)) {
        error = "'" + path + "' is no directory" + (failure ? ": " + failure.message() : "");
        return false;
    }
    area.name = path;
    area.privateDir = absolute.string();
    struct stat info {};
    const auto root = area.privateDir + "/root";
    const bool isPrivate = lstat(root.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
    area.root = isPrivate ? root : area.privateDir;
    area.templateRoot.clear();
    if (templateRoot.empty()) {
        return true;
    }
    const auto canonicalRoot = std::filesystem::canonical(templateRoot, failure);
    if (failure) {
        error = "can't use the template area '" + templateRoot + "': " + failure.message();
        return false;
    }
    area.templateRoot = canonicalRoot.string();
    return true;
}

void DirectoryListing::assign(std::vector<DirectoryItem> all) {
    items = std::move(all);
    m_places = {};
    if (items.size() < kFewItems) {
        return;
    }
    m_places.reserve(items.size());
    for (const auto& item : items) {
        m_places.insert(item.name);
    }
}

const DirectoryItem* DirectoryListing::find(const std::string& name) const {
    if (items.size() >= kFewItems) {
        const auto place = m_places.find(name);
        return place == base::NameTable::kNone ? nullptr : &items[place];
    }
    const auto found = std::lower_bound(
        items.begin(), items.end(), name,
        [](const DirectoryItem& item, const std::string& wanted) { return item.name < wanted; });
    return found != items.end() && found->name == name ? &*found : nullptr;
}

int readDirectory(const Area& area, const std::string& inside, DirectoryListing& listing) {
    auto directory = openDirectory(area, inside);
    if (!directory) {
        return errno;
    }
    const std::unique_ptr<DIR, CloseDirectory> stream(fdopendir(directory.get()));
    if (stream == nullptr) {
        return errno;
    }
    const int descriptor = directory.release();
    if (fstat(descriptor, &listing.info) != 0) {
        return errno;
    }
    std::vector<std::string> names;
    const int failure = readNames(stream.get(), names);
    // Names are a sixth of an item, so they are what is sorted.
    std::sort(names.begin(), names.end());
    std::vector<DirectoryItem> items(names.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        items[i].name = std::move(names[i]);
        readItem(descriptor, items[i]);
    }
    listing.assign(std::move(items));
    return failure;
}

}  // namespace qxfs
