// bubblewrap's command line; see sandbox.h.
#include "node/kr/sandbox.h"

#include "base/subprocess.h"

namespace qxnode {

namespace {

constexpr const char* kRoot = "/root-of-container";

/// Limits of an engine; a database that needs more is broken.
constexpr const char* kSeconds = "120";
constexpr const char* kMemory = "--as=2147483648";
constexpr const char* kScratchBytes = "1073741824";

}  // namespace

std::string inSandbox(const std::string& place) {
    return kRoot + place;
}

// An engine follows links that the root's owner made. In the sandbox they lead only to the root or
// to the host's programs, because no other file of the host is there. If a prepared database takes
// over the engine, it can only read these files: it can write nothing and has no network.
std::vector<std::string> sandboxed(const std::string& root,
                                   const std::vector<std::string>& command) {
    std::vector<std::string> words;
    const auto add = [&](const std::vector<std::string>& more) {
        words.insert(words.end(), more.begin(), more.end());
    };
    add({"timeout", "--kill-after=5", kSeconds});
    add({"prlimit", kMemory, "--core=0"});
    add({"bwrap", "--ro-bind", "/usr", "/usr"});
    // These are links into /usr on most hosts and folders on others.
    for (const char* folder : {"/lib", "/lib64", "/lib32", "/bin", "/etc/ld.so.cache"}) {
        add({"--ro-bind-try", folder, folder});
    }
    add({"--ro-bind", root, kRoot});
    add({"--size", kScratchBytes, "--tmpfs", kSandboxScratch});
    add({"--unshare-pid", "--unshare-net", "--unshare-ipc", "--unshare-uts"});
    add({"--die-with-parent", "--new-session"});
    // Databases belong to users of containers, so the engine must read files of other users.
    add({"--cap-drop", "ALL", "--cap-add", "CAP_DAC_READ_SEARCH"});
    add({"--clearenv", "--setenv", "PATH", "/usr/bin:/bin", "--setenv", "LC_ALL", "C.UTF-8"});
    add({"--setenv", "HOME", kSandboxScratch});
    add(command);
    return words;
}

bool couldNotStart(const base::ProcessResult& result) {
    // Exit codes of timeout and prlimit if they cannot run their command.
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
