// Opens areas and reads their directories.
#include "src/area/area.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <optional>

#include "base/fd.h"
#include "base/name_table.h"
#include "base/open_below.h"
#include "base/tree.h"
#include "src/index/area_format.h"

namespace qxfs {

namespace {

/// Content of a sticky regular file; only the first 4096 bytes are read.
std::optional<std::string> readShortcut(int directory, const std::string& name) {
    const base::Fd file(
        openat(directory, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    std::array<char, qxfs::kLinkTextMax> buffer;
    const auto got = file ? read(file.get(), buffer.data(), buffer.size()) : -1;
    return got < 0 ? std::nullopt
                   : std::optional(std::string(buffer.data(), static_cast<std::size_t>(got)));
}

std::optional<std::string> readSymlink(int directory, const std::string& name) {
    std::array<char, qxfs::kLinkTextMax> buffer;
    const auto got = readlinkat(directory, name.c_str(), buffer.data(), buffer.size());
    return got < 0 ? std::nullopt
                   : std::optional(std::string(buffer.data(), static_cast<std::size_t>(got)));
}

void readLink(int directory, DirectoryItem& item) {
    const bool sticky = qxfs::is_shortcut_mode(item.info.st_mode);
    if (!sticky && !item.isSymlink()) {
        return;
    }
    auto text = sticky ? readShortcut(directory, item.name) : readSymlink(directory, item.name);
    if (!text.has_value()) {
        item.linkUnreadable = true;
        item.failure = errno;
        return;
    }
    (qxfs::is_magic_link(text->c_str()) ? item.link : item.text) = std::move(*text);
}

void readItem(int directory, DirectoryItem& item) {
    if (fstatat(directory, item.name.c_str(), &item.info, AT_SYMLINK_NOFOLLOW) != 0) {
        item.failure = errno;
    } else {
        readLink(directory, item);
    }
}

bool isDirectory(const std::string& path) {
    struct stat info {};
    return lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

/// Whether a private area's own things are there, besides its root.
bool hasPrivateThings(const std::string& path) {
    std::error_code ignored;
    const auto version = std::filesystem::read_symlink(path + "/VERSION", ignored).string();
    return isDirectory(path + "/lost_files") ||
           (!version.empty() && version.find_first_not_of("0123456789.") == std::string::npos);
}

/// A private area can be recognised even if its root is missing. The root of a private area is none
/// itself, although most containers have a directory "root" in it.
bool looksPrivate(const std::filesystem::path& path) {
    return hasPrivateThings(path) ||
           (isDirectory(path / "root") &&
            !(path.filename() == "root" && hasPrivateThings(path.parent_path())));
}

}  // namespace

base::Fd openDirectory(const Area& area, const std::string& inside) {
    const base::Fd root(open(area.root.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    return root ? base::openOnSameMount(root.get(), inside.substr(1), O_RDONLY | O_DIRECTORY)
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
              std::string& error, bool knownPrivate) {
    std::error_code failure;
    const auto absolute = std::filesystem::canonical(path, failure);
    if (failure || !std::filesystem::is_directory(absolute)) {
        error = "'" + path + "' is no directory" + (failure ? ": " + failure.message() : "");
        return false;
    }
    area.name = path;
    area.privateDir = absolute.string();
    area.root = area.privateDir;
    if (knownPrivate || looksPrivate(area.privateDir)) {
        area.root += "/root";
    }
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

int readDirectory(int directory, DirectoryListing& listing) {
    auto names = fstat(directory, &listing.info) == 0 ? base::namesIn(directory) : std::nullopt;
    if (!names.has_value()) {
        return errno;
    }
    std::vector<DirectoryItem> items(names->size());
    for (std::size_t i = 0; i < items.size(); ++i) {
        items[i].name = std::move((*names)[i]);
        readItem(directory, items[i]);
    }
    listing.assign(std::move(items));
    return 0;
}

int readDirectory(const Area& area, const std::string& inside, DirectoryListing& listing) {
    const auto directory = openDirectory(area, inside);
    return directory ? readDirectory(directory.get(), listing) : errno;
}

}  // namespace qxfs
