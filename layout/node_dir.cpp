// Makes a private root with a node's trees in it; see node_dir.h.
//
// The new root is a tmpfs into which every entry of the machine's root is bind-mounted. If a node's
// path does not exist, its nearest existing parent is covered by another tmpfs, into which the
// parent's entries are bind-mounted one by one, and the mount point is made there. This also works
// without privileges, in a user namespace, and does not change the machine.
#include "layout/node_dir.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <uuid/uuid.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>
#include <vector>

#include "base/durable.h"
#include "base/fd.h"
#include "base/system_error.h"
#include "layout/paths.h"

namespace qxnode {

namespace {

namespace fs = std::filesystem;

constexpr std::array<const char*, 4> kTrees = {kNodeDir, kContainerConfigDir, kAgentConfigDir,
                                               kStateDir};
constexpr const char* kOldRoot = "/.old-root";

void require(bool done, const std::string& what, const std::string& subject) {
    if (!done) {
        throw std::runtime_error(base::systemError(what, subject));
    }
}

void writeText(const char* path, const std::string& text) {
    const base::Fd fd(open(path, O_WRONLY | O_CLOEXEC));
    require(fd && write(fd.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size()),
            "write", path);
}

void enterNamespaces() {
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (unshare(CLONE_NEWNS) != 0) {
        require(unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0, "make", "user and mount namespaces");
        // The kernel requires this before an unprivileged process may map its group.
        writeText("/proc/self/setgroups", "deny");
        writeText("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
        writeText("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
    }
}

/// Makes all mounts private, and the root of a process in a chroot a mount of its own: only a mount
/// can be exchanged for another root. In a chroot the topmost mount has no name; ".." leads to it
/// from outside of the root, which `inside`, a folder below it, becomes for that time.
void makeMountsPrivate(const fs::path& inside) {
    const base::Fd root(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
    require(root && chroot(inside.c_str()) == 0 && fchdir(root.get()) == 0, "leave", "/");
    struct stat here {};
    struct stat above {};
    do {
        require(stat(".", &here) == 0 && chdir("..") == 0 && stat(".", &above) == 0, "leave", "/");
    } while (here.st_dev != above.st_dev || here.st_ino != above.st_ino);
    require(chroot(".") == 0, "enter", "the topmost folder");
    require(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "make private", "/");
    struct stat ours {};
    require(fstat(root.get(), &ours) == 0, "look at", "/");
    if (ours.st_dev == above.st_dev && ours.st_ino == above.st_ino) {
        return;
    }
    const base::Fd own(open_tree(
        root.get(), "", AT_EMPTY_PATH | AT_RECURSIVE | OPEN_TREE_CLONE | OPEN_TREE_CLOEXEC));
    require(own && move_mount(own.get(), "", root.get(), "",
                              MOVE_MOUNT_F_EMPTY_PATH | MOVE_MOUNT_T_EMPTY_PATH) == 0,
            "make a mount of", "/");
    require(fchdir(own.get()) == 0 && chroot(".") == 0, "enter", "/");
}

void bind(const fs::path& source, const fs::path& target) {
    require(mount(source.c_str(), target.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0,
            "bind '" + source.string() + "' at", target.string());
}

void mountTmpfs(const fs::path& at) {
    require(mount("tmpfs", at.c_str(), "tmpfs", 0, "mode=0755") == 0, "mount a tmpfs at",
            at.string());
}

/// Bind-mounts every entry of the machine's `source` into the empty folder `target`.
void bindEntries(const fs::path& source, const fs::path& target) {
    for (const fs::directory_entry& entry : fs::directory_iterator(source)) {
        const fs::path shown = target / entry.path().filename();
        if (entry.is_symlink()) {
            fs::create_symlink(fs::read_symlink(entry.path()), shown);
        } else if (entry.is_directory()) {
            fs::create_directory(shown);
            bind(entry.path(), shown);
        } else {
            std::ofstream(shown.string()).flush();
            bind(entry.path(), shown);
        }
    }
}

/// Makes a tmpfs the root; the machine's root is then at kOldRoot.
void pivotToEmptyRoot(const std::string& mountPoint) {
    mountTmpfs(mountPoint);
    require(chdir(mountPoint.c_str()) == 0, "enter", mountPoint);
    const std::string oldRoot = kOldRoot + 1;
    fs::create_directory(oldRoot);
    require(syscall(SYS_pivot_root, ".", oldRoot.c_str()) == 0, "make the root of", mountPoint);
    require(chdir("/") == 0, "enter", "/");
}

/// Makes a folder for each path that does not exist. All parents are covered before the first
/// bind, and outer ones first: a later cover would hide what is bound below it.
void makeMountPoints(const std::vector<fs::path>& paths) {
    std::set<fs::path> parents;
    for (const fs::path& path : paths) {
        fs::path parent = path;
        while (!fs::exists(parent)) {
            parent = parent.parent_path();
        }
        if (parent != path && parent != "/") {
            parents.insert(fs::canonical(parent));
        }
    }
    for (const fs::path& parent : parents) {
        mountTmpfs(parent);
        bindEntries(kOldRoot / parent.relative_path(), parent);
    }
    for (const fs::path& path : paths) {
        fs::create_directories(path);
    }
}

void enter(const std::string& dir) {
    std::error_code failure;
    const fs::path node = fs::canonical(dir, failure);
    if (failure) {
        throw std::runtime_error(failure.message());
    }
    for (const char* tree : kTrees) {
        const fs::path source = node / fs::path(tree).relative_path();
        if (!fs::is_directory(source)) {
            throw std::runtime_error("'" + dir + "' is not a node directory: '" + source.string() +
                                     "' is missing");
        }
    }
    const fs::path before = fs::current_path();
    enterNamespaces();
    makeMountsPrivate(node);
    pivotToEmptyRoot(node);
    bindEntries(kOldRoot, "/");
    makeMountPoints({kTrees.begin(), kTrees.end()});
    for (const char* tree : kTrees) {
        bind(kOldRoot / node.relative_path() / fs::path(tree).relative_path(), tree);
    }
    require(umount2(kOldRoot, MNT_DETACH) == 0, "detach", kOldRoot);
    fs::remove(kOldRoot);
    require(chdir(before.c_str()) == 0, "return to", before.string());
}

std::string newUuid() {
    uuid_t value;
    uuid_generate(value);
    std::array<char, UUID_STR_LEN> text{};
    uuid_unparse_lower(value, text.data());
    return text.data();
}

}  // namespace

int initNodeDirectory(const std::string& dir, std::string& error) {
    for (const char* tree : kTrees) {
        if (!base::makeDirectories(dir + tree, error)) {
            return -1;
        }
    }
    for (const char* tree : {kTemplateDir, kPrivateDir}) {
        if (!base::makeDirectories(dir + tree, error)) {
            return -1;
        }
    }
    const std::string config = dir + kAgentConfig;
    if (access(config.c_str(), F_OK) == 0) {
        return 0;
    }
    if (errno != ENOENT) {
        error = base::systemError("examine", config);
        return -1;
    }
    return base::replaceFile(config, "# This node.\neid = \"" + newUuid() + "\"\n", error) ? 0 : -1;
}

int enterNodeDirectory(const std::string& dir, std::string& error) {
    try {
        enter(dir);
        // Programs that are started from here are in the node already, maybe in another one than
        // the environment says.
        unsetenv("QXA_NODE_DIR");
        return 0;
    } catch (const std::exception& failure) {
        error = "cannot enter the node directory '" + dir + "': " + failure.what();
        return -1;
    }
}

}  // namespace qxnode
