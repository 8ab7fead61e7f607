// bubblewrap's command line; see sandbox.h.
#include "node/qxtt/sandbox.h"

namespace qxtt {

namespace {

constexpr const char* kRoot = "/root-of-container";

/// A database that keeps its engine busy for longer, or makes it larger, is none.
constexpr const char* kSeconds = "120";
constexpr const char* kMemory = "--as=2147483648";

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
    std::vector<std::string> words{"timeout",  "--kill-after=5", kSeconds,    "prlimit", kMemory,
                                   "--core=0", "bwrap",          "--ro-bind", "/usr",    "/usr"};
    // Links into /usr on most hosts, folders on others.
    for (const char* folder : {"/lib", "/lib64", "/lib32", "/bin", "/etc/ld.so.cache"}) {
        words.insert(words.end(), {"--ro-bind-try", folder, folder});
    }
    words.insert(words.end(), {"--ro-bind",
                               root,
                               kRoot,
                               "--tmpfs",
                               kSandboxScratch,
                               "--unshare-pid",
                               "--unshare-net",
                               "--unshare-ipc",
                               "--unshare-uts",
                               "--die-with-parent",
                               "--new-session",
                               "--cap-drop",
                               "ALL",
                               "--cap-add",
                               "CAP_DAC_READ_SEARCH",
                               "--clearenv",
                               "--setenv",
                               "PATH",
                               "/usr/bin:/bin",
                               "--setenv",
                               "HOME",
                               kSandboxScratch,
                               "--setenv",
                               "LC_ALL",
                               "C.UTF-8"});
    words.insert(words.end(), command.begin(), command.end());
    return words;
}

}  // namespace qxtt
