// Moves damaged items of an area to its lost-files folder, or back to their place.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>

#include "src/common.h"
#include "src/qxfsutil.h"

const char* priv_dir = nullptr;

namespace {

constexpr const char* kLostFilesDir = "lost_files";
constexpr const char* kRootDir = "root";
constexpr mode_t kLostDirMode = 0755;

std::string below_private(std::initializer_list<std::string_view> parts) {
    std::string path = priv_dir;
    for (const std::string_view part : parts) {
        path.append("/").append(part);
    }
    return path;
}

}  // namespace

int move_item_to_lost(const char* name, const char* type_path) {
    QXFS_ASSERT(name && type_path);
    QXFS_ASSERT(priv_dir);
    const std::string target = below_private({kLostFilesDir, type_path, name});
    const int made = mkdir_p(target.c_str(), kLostDirMode, static_cast<int>(strlen(priv_dir)));
    if (made != 0) {
        return made;
    }
    return rename(below_private({type_path, name}).c_str(), target.c_str());
}

int move_item_to_same(const char* path, const char* name) {
    QXFS_ASSERT(priv_dir);
    const std::string_view whole(path);
    const size_t slash = whole.rfind('/');
    std::string source_name(name);
    if (slash != std::string_view::npos && slash != 0) {
        source_name = std::string(whole.substr(0, slash)) + "/" + name;
    }
    const std::string source = below_private({kRootDir, source_name});
    const std::string target = below_private({kRootDir, whole});
    QXFS_DEBUG(common::kLevelDetails, "move '%s' to '%s'\n", source.c_str(), target.c_str());
    if (rename(source.c_str(), target.c_str()) != 0) {
        error(1, errno, "can't move '%s' to '%s'", source.c_str(), target.c_str());
    }
    return 0;
}
