// The container file system: layout version of an area, its verification, and entries made with the
// file system's own request.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "base/fd.h"
#include "qxctl/qxctl.h"
#include "src/common.h"
#include "src/index/area_format.h"
#include "src/qxfsutil.h"

namespace {

constexpr size_t kVersionTextMax = 100;

int version_of_text(std::string_view text) {
    if (text == "005.004") {
        return 4;
    }
    if (text == "005.003") {
        return 3;
    }
    return text < "005.003" ? 2 : 0;
}

// The argument of the file system's request for a new entry.
struct CreateRecord {
    const char* name;
    uint32_t value;
    uint32_t mode;
};

// Write direction, 4 bytes, type 0xAA, number 6: what the file system knows the request by. The
// size in it is not that of the record.
constexpr unsigned long kCreateRequest = 0x4004AA06;
static_assert(kCreateRequest == _IOC(_IOC_WRITE, 0xAA, 6, 4));

int create_entry(const char* path, unsigned value, mode_t mode) {
    const std::string_view whole(path);
    const size_t slash = whole.rfind('/');
    std::string parent = ".";
    const char* name = path;
    if (slash != std::string_view::npos) {
        parent = whole.substr(0, slash == 0 ? 1 : slash);
        name = path + slash + 1;
    }
    base::Fd directory(open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory) {
        return -1;
    }
    const CreateRecord record = {name, value, mode};
    if (ioctl(directory.get(), kCreateRequest, &record) < 0) {
        return -1;
    }
    return directory.close() == 0 ? 0 : -1;
}

}  // namespace

int qxfs_version(const char* path) {
    if (path == nullptr) {
        return -1;
    }
    std::string link = path;
    if (qxctl_env_layout_version(path) >= QXCTL_LAYOUT_FS) {
        link += "/fs";
    }
    link += "/VERSION";
    char text[kVersionTextMax];
    const ssize_t length = readlink(link.c_str(), text, sizeof(text));
    if (length < 0) {
        werror(errno, "Can't read qxfs version link '%s'", link.c_str());
        return -3;
    }
    return version_of_text({text, static_cast<size_t>(length)});
}

int check_template_area_qxfs3(int id) {
    char command[64];
    snprintf(command, sizeof(command), "/usr/sbin/qxpkg verify area %i", id);
    QXFS_DEBUG(common::kLevelDetails, "executing '%s'\n", command);
    return system(command);
}

int create_mfile(const char* path, unsigned value, mode_t mode) {
    return create_entry(path, value, (mode & qxfs::kPermissionMask) | S_IFREG);
}

int create_cowdir(const char* path, unsigned value, mode_t mode) {
    return create_entry(path, value, (mode & qxfs::kPermissionMask) | S_IFDIR);
}
