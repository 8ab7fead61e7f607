// Any bytes as a container's configuration file, read through the checker. The file's path is
// fixed, so the process gives itself an /etc of its own first. Every value is compared with that of
// a second reader, written another way; a parameter that was added reads back.
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "src/qxfsutil.h"

namespace {

constexpr const char* kFile = "/etc/sysconfig/qx-scripts/1.conf";

void enterPrivateEtc() {
    const int namespaces = CLONE_NEWNS | (geteuid() == 0 ? 0 : CLONE_NEWUSER);
    if (unshare(namespaces) != 0 ||
        mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("none", "/etc", "tmpfs", 0, nullptr) != 0 || mkdir("/etc/sysconfig", 0755) != 0 ||
        mkdir("/etc/sysconfig/qx-scripts", 0755) != 0) {
        std::printf("skipped: no private /etc can be had here: %s\n", std::strerror(errno));
        std::exit(0);
    }
}

std::string taken(char* text) {
    const std::unique_ptr<char, decltype(&std::free)> owner(text, &std::free);
    return text == nullptr ? "" : text;
}

std::string read(const char* name) {
    return taken(read_ve_config_param(1, name));
}

// What `name` is worth in a file of these bytes: a token of the last line that begins with it.
std::string expected(std::string_view bytes, std::string_view name) {
    constexpr std::string_view kDelimiters = "\"\t=\n";
    constexpr std::size_t kMaxLine = std::size_t{1} << 20;
    std::string_view value;
    while (!bytes.empty()) {
        std::string_view line = bytes.substr(0, bytes.find('\n'));
        bytes.remove_prefix(std::min(bytes.size(), line.size() + 1));
        line = line.substr(0, kMaxLine);
        line = line.substr(0, line.find('\0'));
        if (line.substr(0, name.size()) != name) {
            continue;
        }
        line.remove_prefix(name.size());
        line.remove_prefix(std::min(line.size(), line.find_first_not_of(kDelimiters)));
        value = line.substr(0, line.find_first_of(kDelimiters));
    }
    return std::string(value);
}

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

// The private area's variable is replaced once, wherever it stands. Without a value the process
// would end, as it should.
void check_private(std::string area) {
    if (area.empty()) {
        return;
    }
    constexpr std::string_view kVariable = "$VEID";
    const std::size_t at = area.find(kVariable);
    if (at != std::string::npos) {
        area = area.substr(0, at) + "1" + area.substr(at + kVariable.size());
    }
    require(taken(read_ve_private(1)) == area);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool entered = (enterPrivateEtc(), true);
    FILE* file = entered ? std::fopen(kFile, "w") : nullptr;
    if (file == nullptr) {
        std::abort();
    }
    std::fwrite(data, 1, size, file);
    std::fclose(file);

    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    for (const char* name : {"VE_PRIVATE", "", "A", "A\""}) {
        require(read(name) == expected(bytes, name));
    }
    check_private(expected(bytes, "VE_PRIVATE"));
    require(add_ve_config_param(1, "ADDED", "value") == 0 && read("ADDED") == "value");
    return 0;
}
