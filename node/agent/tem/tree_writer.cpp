// Builds a tree of files.
#include "node/agent/tem/tree_writer.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "QXA/QXATEMLocal.h"
#include "base/content.h"
#include "base/fd.h"
#include "base/open_below.h"
#include "base/tree.h"
#include "node/support/failure.h"

namespace QXA::tem {

using qxnode::Failure;
using qxnode::systemFailure;

namespace {

// True for errors that the archive causes and not the disk.
bool isArchiveFault(int reason) {
    return reason == EEXIST || reason == ELOOP || reason == ENOTDIR || reason == EISDIR ||
           reason == EXDEV || reason == ENAMETOOLONG;
}

[[noreturn]] void fail(const std::string& what, const std::string& path) {
    const int reason = errno;
    if (!isArchiveFault(reason)) {
        throw systemFailure(what, path);
    }
    const char* why = reason == EEXIST ? "exists twice" : "leads through a link or a file";
    throw Failure(kTemDamaged, "entry '" + path + "' " + why);
}

}  // namespace

void TreeWriter::File::write(const char* data, std::size_t size, std::int64_t offset) {
    if (lseek(m_fd.get(), offset, SEEK_SET) != offset ||
        !base::writeContent(m_fd.get(), {data, size})) {
        throw systemFailure("write", m_path);
    }
}

void TreeWriter::File::finish(std::int64_t size) {
    if (ftruncate(m_fd.get(), size) != 0 || !base::applyAttributes(m_fd.get(), m_attributes)) {
        throw systemFailure("write", m_path);
    }
}

int TreeWriter::parentOf(const std::string& path, std::string& name) {
    const std::size_t slash = path.rfind('/');
    name = slash == std::string::npos ? path : path.substr(slash + 1);
    const std::string parent = slash == std::string::npos ? "" : path.substr(0, slash);
    if (!m_parent || parent != m_parentPath) {
        m_parent = base::makeBelow(m_root, parent);
        m_parentPath = parent;
        if (!m_parent) {
            fail("make directory", parent);
        }
    }
    return m_parent.get();
}

TreeWriter::File TreeWriter::file(const std::string& path, const struct stat& attributes) {
    std::string name;
    const int parent = parentOf(path, name);
    base::Fd fd = base::openBelow(parent, name, O_WRONLY | O_CREAT | O_EXCL, 0600);
    if (!fd) {
        fail("create", path);
    }
    return {std::move(fd), path, attributes};
}

void TreeWriter::symbolicLink(const std::string& path, const std::string& target,
                              const struct stat& attributes) {
    std::string name;
    const int parent = parentOf(path, name);
    if (symlinkat(target.c_str(), parent, name.c_str()) != 0 ||
        !base::applyLinkAttributes(parent, name, attributes)) {
        fail("create symbolic link", path);
    }
}

mode_t TreeWriter::hardLink(const std::string& path, const std::string& target) {
    std::string targetName;
    const base::Fd targetParent = base::openParent(m_root, target, targetName);
    struct stat st {};
    if (!targetParent ||
        fstatat(targetParent.get(), targetName.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0 ||
        !S_ISREG(st.st_mode)) {
        throw Failure(kTemDamaged, "entry '" + path + "' is a hard link to '" + target +
                                       "', which is not a file of the package");
    }
    std::string name;
    const int parent = parentOf(path, name);
    if (linkat(targetParent.get(), targetName.c_str(), parent, name.c_str(), 0) != 0) {
        fail("create hard link", path);
    }
    return st.st_mode;
}

void TreeWriter::directory(const std::string& path, const struct stat& attributes) {
    const base::Fd made = base::makeBelow(m_root, path);
    if (!made) {
        fail("make directory", path);
    }
    m_directories[path] = attributes;
}

void TreeWriter::finish() {
    m_parent.close();
    // Deeper directories first: after the change of its mode a parent may not be accessible.
    for (auto directory = m_directories.rbegin(); directory != m_directories.rend(); ++directory) {
        const auto& [path, attributes] = *directory;
        const base::Fd fd =
            base::openBelow(m_root, path.empty() ? "." : path, O_RDONLY | O_DIRECTORY);
        if (!fd || !base::applyAttributes(fd.get(), attributes)) {
            throw systemFailure("set attributes of directory", path);
        }
    }
}

}  // namespace QXA::tem
