// An index file that its container changes while it is read: cut short, lengthened, written over.
// Whatever was read is one set of bytes: an index that was found sound can be written again.
//
// The input's first byte says where it is divided; the file changes from one part to the other and
// back as long as it is read.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>

#include "base/fd.h"
#include "src/index/index_file.h"

namespace {

constexpr int kReads = 8;

void become(int file, std::string_view bytes) {
    if (ftruncate(file, static_cast<off_t>(bytes.size())) != 0 ||
        pwrite(file, bytes.data(), bytes.size(), 0) < 0) {
        std::abort();
    }
}

/// Changes the file until it is told to stop, and at least once.
class Changer {
public:
    Changer(int file, std::string_view one, std::string_view other)
        : m_thread([this, file, one, other] {
              do {
                  become(file, other);
                  become(file, one);
              } while (!m_stop);
          }) {}
    Changer(const Changer&) = delete;
    Changer& operator=(const Changer&) = delete;
    ~Changer() {
        m_stop = true;
        m_thread.join();
    }

private:
    std::atomic<bool> m_stop = false;
    std::thread m_thread;
};

void readOnce(const std::string& path) {
    const auto index = dirindex::readIndexFile(AT_FDCWD, path);
    std::string bytes;
    std::string error;
    if (index.sound && !dirindex::buildIndex(index.entries, bytes, error)) {
        std::abort();
    }
    if (!index.readable && index.reason.empty()) {
        std::abort();
    }
}

/// A file that has a name, which no link in the last component leads to.
class Target {
public:
    Target() : m_file(mkstemp(m_path.data())) {}
    Target(const Target&) = delete;
    Target& operator=(const Target&) = delete;
    ~Target() { unlink(m_path.c_str()); }

    [[nodiscard]] int file() const { return m_file.get(); }
    [[nodiscard]] const std::string& path() const { return m_path; }

private:
    std::string m_path = "/tmp/qx-fuzz-XXXXXX";
    base::Fd m_file;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Target target;
    if (size == 0) {
        return 0;
    }
    const std::string_view parts(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::size_t divided = parts.size() * data[0] / 256;
    become(target.file(), parts.substr(0, divided));
    const Changer changer(target.file(), parts.substr(0, divided), parts.substr(divided));
    for (int i = 0; i < kReads; ++i) {
        readOnce(target.path());
    }
    return 0;
}
