// Writing beside, flushing, renaming; see durable.h.
#include "base/durable.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <system_error>

#include "base/content.h"
#include "base/fd.h"
#include "base/open_below.h"
#include "base/system_error.h"

namespace base {

namespace {

std::string folderOf(const std::string& path) {
    const auto slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

/// A file under a temporary name, removed again unless it was renamed.
class FileBeside {
public:
    explicit FileBeside(const std::string& path) {
        const auto slash = path.rfind('/');
        const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
        m_path = folderOf(path) + "/." + name + ".XXXXXX";
        m_fd = Fd(mkostemp(m_path.data(), O_CLOEXEC));
    }
    ~FileBeside() {
        if (m_fd && !m_renamed) {
            unlink(m_path.c_str());
        }
    }
    FileBeside(const FileBeside&) = delete;
    FileBeside& operator=(const FileBeside&) = delete;

    [[nodiscard]] int fd() const { return m_fd.get(); }

    bool renameTo(const std::string& path) {
        m_renamed = rename(m_path.c_str(), path.c_str()) == 0;
        return m_renamed;
    }

private:
    std::string m_path;
    Fd m_fd;
    bool m_renamed = false;
};

bool takeOverAttributes(int fd, const std::string& path, mode_t modeOfNew) {
    struct stat old {};
    const bool exists = lstat(path.c_str(), &old) == 0 && S_ISREG(old.st_mode);
    if (!exists) {
        return fchmod(fd, modeOfNew) == 0;
    }
    // Giving files away is for root; everybody else's file becomes the writer's.
    if (fchown(fd, old.st_uid, old.st_gid) != 0 && errno != EPERM && errno != EINVAL) {
        return false;
    }
    return fchmod(fd, old.st_mode & 07777) == 0;
}

}  // namespace

bool replaceFile(const std::string& path, std::string_view content, std::string& error,
                 mode_t mode) {
    FileBeside beside(path);
    if (beside.fd() < 0 || !takeOverAttributes(beside.fd(), path, mode) ||
        !writeContent(beside.fd(), content) || fsync(beside.fd()) != 0 || !beside.renameTo(path)) {
        error = systemError("write", path);
        return false;
    }
    return flushDirectory(folderOf(path), error);
}

bool writeFileDurably(int directory, const std::string& name, const std::string& content,
                      mode_t mode) {
    const std::string beside = "." + name + ".new";
    // Left by a writer that was killed: writers are alone under their lock.
    if (unlinkat(directory, beside.c_str(), 0) != 0 && errno != ENOENT) {
        return false;
    }
    const Fd file = openBelow(directory, beside, O_WRONLY | O_CREAT | O_EXCL, 0600);
    const bool renamed = file && base::writeContent(file.get(), content) &&
                         fchmod(file.get(), mode) == 0 && fsync(file.get()) == 0 &&
                         renameat2(directory, beside.c_str(), directory, name.c_str(), 0) == 0;
    if (!renamed) {
        const int reason = errno;
        unlinkat(directory, beside.c_str(), 0);
        errno = reason;
        return false;
    }
    return flushDirectory(directory);
}

bool flushDirectory(int directory) {
    return fsync(directory) == 0;
}

bool flushDirectory(const std::string& path, std::string& error) {
    const Fd fd(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!fd || fsync(fd.get()) != 0) {
        error = systemError("flush", path);
        return false;
    }
    return true;
}

bool swapPaths(const std::string& a, const std::string& b, std::string& error) {
    if (renameat2(AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str(), RENAME_EXCHANGE) != 0) {
        error = systemError("exchange '" + a + "' with", b);
        return false;
    }
    return flushDirectory(folderOf(a), error) && flushDirectory(folderOf(b), error);
}

bool renameNew(const std::string& from, const std::string& to, std::string& error) {
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) != 0) {
        error = systemError("rename '" + from + "' to", to);
        return false;
    }
    return flushDirectory(folderOf(to), error);
}

bool makeDirectories(const std::string& path, std::string& error) {
    std::error_code failure;
    std::filesystem::create_directories(path, failure);
    if (failure) {
        error = "cannot make the folder '" + path + "': " + failure.message();
        return false;
    }
    return true;
}

}  // namespace base
