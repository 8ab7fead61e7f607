// bubblewrap's command line; see confinement.h.
#include "node/qxpkg/engine/confinement.h"

#include <sys/stat.h>
#include <unistd.h>

#include <climits>

namespace qxpkg {

namespace {

/// Folders of / that are links into /usr on some distributions.
constexpr const char* kProgramFolders[] = {"/bin", "/sbin", "/lib", "/lib32", "/lib64", "/libx32"};

/// Capabilities for unpacking (owners, modes, file capabilities), chroot(2) and changing to a
/// package's own user. There is none for mounting, so read-only mounts stay read-only.
constexpr const char* kCapabilities[] = {"CAP_CHOWN",   "CAP_DAC_OVERRIDE", "CAP_FOWNER",
                                         "CAP_FSETID",  "CAP_SETUID",       "CAP_SETGID",
                                         "CAP_SETFCAP", "CAP_SYS_CHROOT",   "CAP_KILL"};

/// Files of the host's /etc that programs need; none of them configures an engine.
constexpr const char* kSystemFiles[] = {"/etc/ld.so.cache", "/etc/alternatives", "/etc/localtime"};
constexpr const char* kNetworkFiles[] = {"/etc/resolv.conf", "/etc/hosts", "/etc/nsswitch.conf",
                                         "/etc/services",    "/etc/ssl",   "/etc/ca-certificates",
                                         "/etc/pki"};

void add(std::vector<std::string>& words, std::initializer_list<std::string> more) {
    words.insert(words.end(), more);
}

void addProgramFolders(std::vector<std::string>& words) {
    for (const char* folder : kProgramFolders) {
        struct stat st {};
        if (lstat(folder, &st) != 0) {
            continue;
        }
        char target[PATH_MAX];
        const ssize_t length = readlink(folder, target, sizeof(target));
        if (length > 0) {
            add(words,
                {"--symlink", std::string(target, static_cast<std::size_t>(length)), folder});
        } else {
            add(words, {"--ro-bind", folder, folder});
        }
    }
}

void addEnvironment(std::vector<std::string>& words, const std::vector<std::string>& environment) {
    words.emplace_back("--clearenv");
    add(words, {"--setenv", "PATH", "/usr/sbin:/usr/bin:/sbin:/bin"});
    add(words, {"--setenv", "LC_ALL", "C"});
    add(words, {"--setenv", "HOME", "/root"});
    for (const std::string& entry : environment) {
        const std::size_t equals = entry.find('=');
        add(words, {"--setenv", entry.substr(0, equals), entry.substr(equals + 1)});
    }
}

}  // namespace

std::vector<std::string> confinedCommand(const Confinement& confinement,
                                         const std::vector<std::string>& argv) {
    std::vector<std::string> words = {"bwrap", "--ro-bind", "/usr", "/usr"};
    addProgramFolders(words);
    add(words, {"--tmpfs", "/tmp", "--tmpfs", "/run", "--dir", "/var/tmp", "--dir", "/root"});
    add(words, {"--proc", "/proc", "--dev", "/dev"});
    for (const char* file : kSystemFiles) {
        add(words, {"--ro-bind-try", file, file});
    }
    if (confinement.network) {
        for (const char* file : kNetworkFiles) {
            add(words, {"--ro-bind-try", file, file});
        }
    } else {
        words.emplace_back("--unshare-net");
    }
    for (const Confinement::Bind& bind : confinement.binds) {
        add(words, {bind.writable ? "--bind" : "--ro-bind", bind.from, bind.to});
    }
    if (!confinement.root.empty()) {
        add(words, {"--proc", confinement.root + "/proc", "--dev", confinement.root + "/dev"});
    }
    add(words, {"--unshare-pid", "--unshare-ipc", "--unshare-uts", "--die-with-parent",
                "--new-session", "--cap-drop", "ALL"});
    for (const char* capability : kCapabilities) {
        add(words, {"--cap-add", capability});
    }
    for (const std::string& capability : confinement.capabilities) {
        add(words, {"--cap-add", capability});
    }
    addEnvironment(words, confinement.environment);
    words.insert(words.end(), argv.begin(), argv.end());
    return words;
}

}  // namespace qxpkg
