// Checks any bytes as a directory index: by themselves, and against a template area with every link
// lost and the cleaned index written. What was written must pass a check again.
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "src/qxfsutil.h"

namespace {

/// A folder for the cleaned index, gone with the process, in which nothing else is found.
class Scratch {
public:
    Scratch() {
        if (mkdtemp(m_folder.data()) == nullptr) {
            std::abort();
        }
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    ~Scratch() {
        unlink(path("out").c_str());
        rmdir(m_folder.c_str());
    }

    [[nodiscard]] std::string path(const char* name) const { return m_folder + "/" + name; }

private:
    std::string m_folder = "/tmp/qx-fuzz-XXXXXX";
};

int check(const std::vector<char>& bytes, const char* out, const char* root) {
    auto copy = bytes;
    const int result = fsck_in_core("index", copy.data(), copy.size(), out, root);
    clean_memory();
    return result;
}

void checkWritten(const std::string& path) {
    struct stat info {};
    void* base = mmap_file(path.c_str(), &info);
    if (base == nullptr) {
        std::abort();
    }
    const auto* bytes = static_cast<const char*>(base);
    const std::vector<char> written(bytes, bytes + info.st_size);
    munmap(base, static_cast<std::size_t>(info.st_size));
    // An index from which every entry was lost is empty, and no check takes an empty one.
    const bool empty = written.size() < 8 ||
                       (written[4] == 0 && written[5] == 0 && written[6] == 0 && written[7] == 0);
    if (!empty && check(written, nullptr, nullptr) != 0) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Scratch scratch;
    const std::vector<char> bytes(data, data + size);
    const int alone = check(bytes, nullptr, nullptr);
    const auto out = scratch.path("out");
    const auto root = scratch.path("none");
    const int lost = check(bytes, out.c_str(), root.c_str());
    // Structure is judged before links are, and the same either way.
    if ((alone == -2) != (lost == -2)) {
        std::abort();
    }
    if (lost == 1) {
        checkWritten(out);
        unlink(out.c_str());
    }
    return 0;
}
