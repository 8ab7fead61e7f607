// Shared parts of the index tests; see index_support.h.
#include "tests/unit/src/index_support.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "tests/support/temp_dir.h"

namespace qx_test {

Checked check(const IndexImage& image, int level, const char* out_path, const char* root) {
    const DebugLevel guard(level);
    std::vector<uint8_t> bytes = image.writable_copy();
    Checked checked{};
    checked.output = captured([&] {
        checked.result = fsck_in_core("index", bytes.data(), bytes.size(), out_path, root);
    });
    return checked;
}

void fill_list(const std::vector<Entry>& entries) {
    clean_memory();
    tot = dtot = emitted = 0;
    for (const Entry& entry : entries) {
        auto* added = static_cast<dent*>(std::calloc(1, sizeof(dent)));
        added->type = entry.type;
        added->namelen = static_cast<uint16_t>(entry.name.size());
        added->ino = entry.ino;
        added->name = strdup(entry.name.c_str());
        added->poolstr = entry.link.empty() ? nullptr : pool_add(entry.link.c_str());
        (dlist == nullptr ? dlist : dlist_end->next) = added;
        dlist_end = added;
        ++tot;
        dtot += entry.type == 4 ? 1 : 0;
    }
}

IndexImage write_index(const std::vector<Entry>& entries) {
    const TempDir dir;
    fill_list(entries);
    select_prime();
    create_hash_table();
    FILE* stream = std::fopen(dir.path("index").c_str(), "w+");
    EXPECT_EQ(emit_dirindex(stream), 0);
    std::fclose(stream);
    clean_memory();
    return IndexImage::from_bytes(read_file(dir.path("index")));
}

std::vector<std::string> listed_names() {
    std::vector<std::string> names;
    for (const dent* entry = dlist; entry != nullptr; entry = entry->next) {
        names.emplace_back(entry->name);
    }
    return names;
}

}  // namespace qx_test
