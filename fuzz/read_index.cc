// An index file read as a list of its links, and written anew with another cache identifier:
// nothing is read out of bounds, memory stays in proportion, and what is written is an index again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

#include "src/qxfsutil.h"

namespace {

void free_items(char** items) {
    for (char** item = items; item != nullptr && *item != nullptr; ++item) {
        free(*item);
    }
    free(items);
}

// A file in memory, reached by path; a link in the last component would be refused.
class Target {
public:
    Target() {
        char name[] = "/dev/shm/qxfuzz-XXXXXX";
        const int fd = mkstemp(name);
        if (fd < 0) {
            abort();
        }
        close(fd);
        path_ = name;
    }
    ~Target() { unlink(path_.c_str()); }
    Target(const Target&) = delete;
    Target& operator=(const Target&) = delete;
    const char* path() const { return path_.c_str(); }

private:
    std::string path_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const Target target;
    std::vector<uint8_t> image(data, data + size);
    char** items = read_in_core("input", image.data(), image.size());
    const bool sound = items != nullptr;
    free_items(items);

    image.assign(data, data + size);
    if (correct_dirindex("input", image.data(), image.size(), target.path(), "old", "new") != 0) {
        return 0;
    }
    // Whoever can be corrected can be read, and so can what came of it.
    char** corrected = read_dirindex(target.path());
    if (!sound || corrected == nullptr) {
        abort();
    }
    free_items(corrected);
    clean_memory();
    return 0;
}
