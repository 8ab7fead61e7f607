// Makes and removes the temporary folder for new files.
#include "src/area/staging.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "base/content.h"
#include "base/durable.h"
#include "base/open_below.h"
#include "base/tree.h"

namespace qxfs {

namespace {

constexpr const char* kFolderName = ".qxfsutil";

/// A name that nothing in the directory has. It is to be created exclusively.
std::string freeName(int directory) {
    const std::string name = "._qxlnk_.~";
    struct stat info {};
    for (unsigned number = 0;; ++number) {
        auto free = name + std::to_string(number);
        if (fstatat(directory, free.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) {
            return free;
        }
    }
}

bool make(int directory, const std::string& name, const PathState& state) {
    if (state.kind == PathState::Kind::symlink) {
        return symlinkat(state.content.c_str(), directory, name.c_str()) == 0;
    }
    const base::Fd file(openat(directory, name.c_str(),
                               O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    return file && base::writeContent(file.get(), state.content) && fsync(file.get()) == 0;
}

bool recreateIn(int where, int directory, const std::string& name, const PathState& state) {
    const auto beside = freeName(where);
    if (make(where, beside, state) && writeAttributes(where, beside, state) &&
        renameat(where, beside.c_str(), directory, name.c_str()) == 0) {
        return base::flushDirectory(directory);
    }
    const int reason = errno;
    if (reason != EEXIST) {
        unlinkat(where, beside.c_str(), 0);
    }
    errno = reason;
    return false;
}

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

bool recreate(const Staging& staging, int directory, const std::string& name,
              const PathState& state) {
    const int folder = staging.folder();
    return (folder >= 0 && recreateIn(folder, directory, name, state)) ||
           ((folder < 0 || errno == EXDEV) && recreateIn(directory, directory, name, state));
}

}  // namespace qxfs
