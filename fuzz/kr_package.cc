// KR template packages: any bytes are read or refused, and what is read stays within bounds and
// names.
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "base/fd.h"
#include "node/qxpkg/failure.h"
#include "node/qxpkg/node/template_package.h"

namespace {

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

void check(const qxpkg::TemplatePackage& package, const qxpkg::TemplatePackageLimits& limits) {
    std::size_t bytes = 0;
    for (const auto& [name, content] : package.keys) {
        require(qxnode::isKrName(name) && name.front() != '.');
        require(name.find('/') == std::string::npos && content.size() <= limits.keyBytes);
        bytes += content.size();
    }
    for (const auto& [name, file] : package.applications) {
        require(qxnode::isKrName(name) && name.find('/') == std::string::npos);
        require(package.main.manifest.isOsTemplate && !file.manifest.isOsTemplate);
        require(file.manifest.osName == package.main.manifest.name);
        bytes += file.text.size();
    }
    require(bytes <= limits.bytes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const base::Fd file(memfd_create("package", MFD_CLOEXEC));
    if (!file || write(file.get(), data, size) != static_cast<ssize_t>(size)) {
        return 0;
    }
    const qxpkg::TemplatePackageLimits limits{100, std::size_t{1} << 20, 1000};
    try {
        check(qxpkg::readTemplatePackage(file.get(), "input", limits), limits);
    } catch (const qxpkg::Failure& failure) {
        // Refused, as most inputs are; always with one of two codes.
        const int code = qxpkg::exitCodeOf(failure);
        require(code == qxpkg::kNotKrTemplate || code == qxpkg::kFailed);
    }
    return 0;
}
