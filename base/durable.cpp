// Writes new files, flushes and renames them; see durable.h.
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

std::string folderOf(const std::string& path) {
    const auto slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

namespace {

/// Gives a new file the mode of the old one at `path` and, if this process may set it, its owner.
/// False with errno.
bool takeOverOwner(int fd, const std::string& path, mode_t& mode) {
    struct stat old {};
    if (lstat(path.c_str(), &old) != 0 || !S_ISREG(old.st_mode)) {
        return true;
    }
    mode = old.st_mode & 07777;
    // Only root may change the owner; otherwise the file belongs to the writer.
    return fchown(fd, old.st_uid, old.st_gid) == 0 || errno == EPERM || errno == EINVAL;
}

}  // namespace

FileBeside::FileBeside(const std::string& path) : m_path(path) {
    const auto name = path.rfind('/') + 1;
    m_beside = path.substr(0, name) + ".XXXXXX-" + path.substr(name);
    const auto ending = path.size() - name + 1;
    m_fd = Fd(mkostemps(m_beside.data(), static_cast<int>(ending), O_CLOEXEC));
}

FileBeside::~FileBeside() {
    if (m_fd && !m_renamed) {
        unlink(m_beside.c_str());
    }
}

bool FileBeside::finish(mode_t mode, std::string& error) {
    m_renamed = m_fd && fchmod(m_fd.get(), mode) == 0 && fsync(m_fd.get()) == 0 &&
                rename(m_beside.c_str(), m_path.c_str()) == 0;
    if (!m_renamed) {
        error = systemError("write", m_path);
        return false;
    }
    return flushDirectory(folderOf(m_path), error);
}

bool replaceFile(const std::string& path, std::string_view content, std::string& error,
                 mode_t mode) {
    FileBeside beside(path);
    if (!beside || !takeOverOwner(beside.get(), path, mode) ||
        !writeContent(beside.get(), content)) {
        error = systemError("write", path);
        return false;
    }
    return beside.finish(mode, error);
}

bool writeFileDurably(int directory, const std::string& name, const std::string& content,
                      mode_t mode, std::string beside, int staging) {
    if (beside.empty()) {
        beside = "." + name + ".new";
    }
    const int where = staging < 0 ? directory : staging;
    // Left by a writer that was killed: writers are alone under their lock.
    if (unlinkat(where, beside.c_str(), 0) != 0 && errno != ENOENT) {
        return false;
    }
    const Fd file = openBelow(where, beside, O_WRONLY | O_CREAT | O_EXCL, 0600);
    const bool renamed = file && base::writeContent(file.get(), content) &&
                         fchmod(file.get(), mode) == 0 && fsync(file.get()) == 0 &&
                         renameat2(where, beside.c_str(), directory, name.c_str(), 0) == 0;
    if (!renamed) {
        const int reason = errno;
        unlinkat(where, beside.c_str(), 0);
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
