// Template packages: any bytes are unpacked or refused, and nothing is ever written outside the
// folder that they are unpacked into.
#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "base/content.h"
#include "base/fd.h"
#include "base/open_below.h"
#include "base/tree.h"
#include "node/agent/tem/package_reader.h"
#include "node/support/failure.h"

namespace {

using namespace QXA::tem;

// A folder with the folder to unpack into as its only entry.
class Sandbox {
public:
    Sandbox() {
        char path[] = "/tmp/qxfuzz-XXXXXX";
        if (mkdtemp(path) == nullptr || mkdir((std::string(path) + "/in").c_str(), 0700) != 0) {
            std::abort();
        }
        m_path = path;
        m_outer = base::Fd(open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        m_inner = base::openBelow(m_outer.get(), "in", O_RDONLY | O_DIRECTORY);
    }
    ~Sandbox() {
        base::removeTree(m_outer.get(), "in");
        rmdir(m_path.c_str());
    }
    Sandbox(const Sandbox&) = delete;
    Sandbox& operator=(const Sandbox&) = delete;

    [[nodiscard]] int inner() const { return m_inner.get(); }
    [[nodiscard]] bool isTight() const { return base::namesIn(m_outer.get())->size() == 1; }

private:
    std::string m_path;
    base::Fd m_outer;
    base::Fd m_inner;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const base::Fd file(memfd_create("package", MFD_CLOEXEC));
    if (!file || !base::writeContent(file.get(), {reinterpret_cast<const char*>(data), size})) {
        return 0;
    }
    const Sandbox sandbox;
    try {
        PackageReader reader("/proc/self/fd/" + std::to_string(file.get()),
                             PackageLimits{1000, 1 << 20});
        reader.unpack(sandbox.inner());
    } catch (const qxnode::Failure&) {
        // Refused, as most inputs are.
    }
    if (!sandbox.isTight()) {
        std::abort();
    }
    return 0;
}
