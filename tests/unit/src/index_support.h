// What the index tests share: a debug level for a while, a check of an image, an index written from
// a list of entries.
#ifndef TESTS_UNIT_SRC_INDEX_SUPPORT_H
#define TESTS_UNIT_SRC_INDEX_SUPPORT_H

#include <cstdint>
#include <string>
#include <vector>

#include "src/qxfsutil.h"
#include "tests/support/capture.h"
#include "tests/support/index_image.h"

namespace qx_test {

class DebugLevel {
public:
    explicit DebugLevel(int level) : before_(qxfsutil_debug_level) { qxfsutil_debug_level = level; }
    ~DebugLevel() { qxfsutil_debug_level = before_; }
    DebugLevel(const DebugLevel&) = delete;
    DebugLevel& operator=(const DebugLevel&) = delete;

private:
    int before_;
};

struct Checked {
    int result;
    Output output;
};

// Runs fsck_in_core on a copy of an image, under the name "index".
Checked check(const IndexImage& image, int level, const char* out_path = nullptr,
              const char* root = nullptr);

struct Entry {
    uint8_t type = 8;
    std::string name;
    std::string link;  // empty: none
    uint32_t ino = 2;
};

// Fills dlist and the counters as a scan does.
void fill_list(const std::vector<Entry>& entries);

// Writes the entries to a file as create_dirindex does, through a read-write stream, and gives its
// bytes.
IndexImage write_index(const std::vector<Entry>& entries);

// Names in the entry list, in its order.
std::vector<std::string> listed_names();

}  // namespace qx_test

#endif
