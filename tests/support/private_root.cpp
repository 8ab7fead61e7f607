// A mount namespace whose root is a tmpfs with the machine's folders bound into it.
#include "tests/support/private_root.h"

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "tests/support/child.h"
#include "tests/support/temp_dir.h"

namespace qx_test {
namespace {

namespace fs = std::filesystem;

constexpr int kCouldNotRun = 77;
constexpr int kActionThrew = 78;

void require(bool done, const std::string& what) {
    if (!done) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

void write_text(const char* path, const std::string& text) {
    std::ofstream(path) << text << std::flush;
}

void enter_namespaces() {
    const uid_t uid = geteuid();
    const gid_t gid = getegid();
    if (uid == 0 && unshare(CLONE_NEWNS) == 0) {
        return;
    }
    require(unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0, "user namespace");
    write_text("/proc/self/setgroups", "deny");
    write_text("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1");
    write_text("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
}

void bind(const fs::path& source, const fs::path& target) {
    require(mount(source.c_str(), target.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0,
            "bind " + target.string());
}

void mount_tmpfs(const fs::path& at) {
    require(mount("tmpfs", at.c_str(), "tmpfs", 0, "mode=0755") == 0, "tmpfs " + at.string());
}

// The new root: each folder of the machine's root bound under its name, each link made again.
void build_root(const fs::path& root) {
    require(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "private mounts");
    mount_tmpfs(root);
    for (const fs::directory_entry& entry : fs::directory_iterator("/")) {
        const fs::path target = root / entry.path().filename();
        if (entry.is_symlink()) {
            fs::create_symlink(fs::read_symlink(entry.path()), target);
        } else if (entry.is_directory()) {
            fs::create_directory(target);
            bind(entry.path(), target);
        }
    }
}

void show_at(const fs::path& root, const fs::path& source, const fs::path& path) {
    const fs::path target = root / path.relative_path();
    if (!fs::exists(target)) {
        fs::path existing = target.parent_path();
        while (!fs::exists(existing)) {
            existing = existing.parent_path();
        }
        // Never make anything in a folder of the machine: cover it, unless it is of our own making.
        if (fs::exists("/" / existing.lexically_relative(root)) && existing != root) {
            mount_tmpfs(existing);
        }
        if (fs::is_directory(source)) {
            fs::create_directories(target);
        } else {
            fs::create_directories(target.parent_path());
            std::ofstream(target.string()).flush();
        }
    }
    bind(source, target);
}

}  // namespace

PrivateRoot& PrivateRoot::show(std::string source, std::string path) {
    shown_.emplace_back(std::move(source), std::move(path));
    return *this;
}

void PrivateRoot::enter(const std::string& mount_point) const {
    const std::string directory = fs::current_path().string();
    enter_namespaces();
    build_root(mount_point);
    for (const auto& [source, path] : shown_) {
        show_at(mount_point, source, path);
    }
    require(chroot(mount_point.c_str()) == 0, "chroot");
    require(chdir(directory.c_str()) == 0, "chdir");
}

PrivateRoot::Result PrivateRoot::run(const std::function<std::string()>& action) const {
    const TempDir mount_point;
    const ChildText told = told_by_child([&](std::string& text) {
        int status = kCouldNotRun;
        try {
            enter(mount_point.path());
            status = kActionThrew;
            text = action();
            status = 0;
        } catch (const std::exception& failure) {
            text = failure.what();
        }
        return status;
    });
    if (told.status == kCouldNotRun) {
        return {false, "no private mounts here: " + told.text};
    }
    return {true, told.status == 0 ? told.text
                                   : told.text + " [child ended with status " +
                                         std::to_string(told.status) + "]"};
}

PrivateRoot::Result with_full_disk(const std::string& at,
                                   const std::function<std::string()>& action) {
    return PrivateRoot().run([&] {
        require(mount("tmpfs", at.c_str(), "tmpfs", 0, "mode=0755,size=4k") == 0, "tmpfs " + at);
        write_text((at + "/full").c_str(), std::string(4096, 'x'));
        return action();
    });
}

}  // namespace qx_test
