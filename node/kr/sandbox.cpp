// bubblewrap's command line; see sandbox.h.
#include "node/kr/sandbox.h"

#include "base/subprocess.h"

namespace qxnode {

namespace {

constexpr const char* kRoot = "/root-of-container";

/// A database that keeps its engine busy for longer, or makes it larger, is none.
constexpr const char* kSeconds = "120";
constexpr const char* kMemory = "--as=2147483648";
constexpr const char* kScratchBytes = "1073741824";

}  // namespace

std::string inSandbox(const std::string& place) {
    return kRoot + place;
}

// An engine follows links that the root's owner has planted. Here they end in the root or among the
// host's programs: no other file of the host is to be seen, whenever a link is put into its place.
// An engine that a database has taken over can write nowhere, reach nobody, and may do no more than
// read files.
std::vector<std::string> sandboxed(const std::string& root,
                                   const std::vector<std::string>& command) {
    std::vector<std::string> words;
    const auto add = [&](const std::vector<std::string>& more) {
        words.insert(words.end(), more.begin(), more.end());
    };
    add({"timeout", "--kill-after=5", kSeconds});
    add({"prlimit", kMemory, "--core=0"});
    add({"bwrap", "--ro-bind", "/usr", "/usr"});
    // Links into /usr on most hosts, folders on others.
    for (const char* folder : {"/lib", "/lib64", "/lib32", "/bin", "/etc/ld.so.cache"}) {
        add({"--ro-bind-try", folder, folder});
    }
    add({"--ro-bind", root, kRoot});
    add({"--size", kScratchBytes, "--tmpfs", kSandboxScratch});
    add({"--unshare-pid", "--unshare-net", "--unshare-ipc", "--unshare-uts"});
    add({"--die-with-parent", "--new-session"});
    // Databases belong to the users of containers, whose numbers are not the caller's.
    add({"--cap-drop", "ALL", "--cap-add", "CAP_DAC_READ_SEARCH"});
    add({"--clearenv", "--setenv", "PATH", "/usr/bin:/bin", "--setenv", "LC_ALL", "C.UTF-8"});
    add({"--setenv", "HOME", kSandboxScratch});
    add(command);
    return words;
}

bool couldNotStart(const base::ProcessResult& result) {
    // What timeout and prlimit exit with when they cannot run what follows them.
    constexpr int notExecutable = 126;
    constexpr int notFound = 127;
    const int status = result.exitStatus();
    return status == notExecutable || status == notFound ||
           (!result.succeeded() && result.errorTail.starts_with("bwrap: "));
}

bool tookTooLong(const base::ProcessResult& result) {
    constexpr int outOfTime = 124;
    constexpr int killed = 137;
    return result.exitStatus() == outOfTime || result.exitStatus() == killed;
}

}  // namespace qxnode
