// Makes and removes the folder in which files wait for their place.
#include "src/area/staging.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "base/open_below.h"
#include "base/tree.h"

namespace qxfs {

namespace {

constexpr const char* kFolderName = ".qxfsutil";

}  // namespace

template <typename Work>
void Staging::withoutTrace(const Work& work) const {
    struct stat before {};
    const bool known = fstat(m_privateDir.get(), &before) == 0;
    work();
    if (known) {
        const timespec times[2] = {before.st_atim, before.st_mtim};
        futimens(m_privateDir.get(), times);
    }
}

Staging::Staging(int privateDir)
    : m_privateDir(privateDir < 0 ? base::Fd()
                                  : base::openBelow(privateDir, "", O_RDONLY | O_DIRECTORY)) {
    if (!m_privateDir) {
        return;
    }
    withoutTrace([this] {
        if (base::removeTree(m_privateDir.get(), kFolderName) &&
            mkdirat(m_privateDir.get(), kFolderName, 0700) == 0) {
            m_folder = base::openBelow(m_privateDir.get(), kFolderName, O_RDONLY | O_DIRECTORY);
        }
    });
}

Staging::~Staging() {
    if (m_folder) {
        withoutTrace([this] { base::removeTree(m_privateDir.get(), kFolderName); });
    }
}

std::string Staging::freeName(int directory) {
    const std::string name = "._qxlnk_.~";
    struct stat info {};
    for (unsigned number = 0;; ++number) {
        auto free = name + std::to_string(number);
        if (fstatat(directory, free.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) {
            return free;
        }
    }
}

}  // namespace qxfs
