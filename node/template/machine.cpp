// The architectures that run on this machine.
#include "node/template/machine.h"

#include <sys/utsname.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace QXA::tem {

namespace {

// Names of processor families in manifests and in uname.
const char* processorFamily(const std::string& name) {
    static constexpr std::array<std::pair<const char*, const char*>, 14> kFamilies{{
        {"x86_64", "x86"},
        {"amd64", "x86"},
        {"i386", "x86"},
        {"i486", "x86"},
        {"i586", "x86"},
        {"i686", "x86"},
        {"aarch64", "arm"},
        {"arm64", "arm"},
        {"armhf", "arm"},
        {"armv7l", "arm"},
        {"ppc64le", "power"},
        {"ppc64", "power"},
        {"s390x", "s390"},
        {"riscv64", "riscv"},
    }};
    const auto* const found = std::find_if(kFamilies.begin(), kFamilies.end(),
                                           [&](const auto& entry) { return name == entry.first; });
    return found == kFamilies.end() ? nullptr : found->second;
}

}  // namespace

std::string thisMachine() {
    struct utsname node {};
    uname(&node);
    return node.machine;
}

bool fitsThisMachine(const std::string& architecture) {
    const char* wanted = processorFamily(architecture);
    const char* here = processorFamily(thisMachine());
    return wanted == nullptr || here == nullptr || std::string_view(wanted) == here;
}

}  // namespace QXA::tem
