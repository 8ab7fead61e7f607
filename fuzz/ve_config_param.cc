// Any bytes as a container's configuration file, read through the checker. The file's path is
// fixed, so the process gives itself an /etc of its own first. A parameter that was added reads
// back.
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

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

std::string read(const char* name) {
    const std::unique_ptr<char, decltype(&std::free)> value(read_ve_config_param(1, name),
                                                            &std::free);
    return value == nullptr ? "" : value.get();
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

    read("VE_PRIVATE");
    read("");
    if (add_ve_config_param(1, "ADDED", "value") != 0 || read("ADDED") != "value") {
        std::abort();
    }
    return 0;
}
