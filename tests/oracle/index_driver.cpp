// Does with the library what the model does by itself: writes indexes and checks them, one request
// after the other from standard input, each answered on standard output.
//
//   'W' level mode entries    writes an index through a stream opened in `mode`
//   'C' level data root out   checks an index
//   answer                    result, text on standard error, bytes written ('W') or nothing ('C')
//
// Numbers are 32 bits in the machine's order; a text is its length and its bytes; an optional text
// is 0, or 1 and the text. Being a program of its own, the driver carries the sanitizers of its
// build; their report is with what the dead driver said last (set log_path to keep it).
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "src/qxfsutil.h"
#include "tests/support/capture.h"
#include "tests/support/temp_dir.h"

namespace {

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

void require(bool holds, const char* what) {
    if (!holds) {
        throw std::runtime_error(what);
    }
}

void read_exactly(void* to, size_t size) {
    require(std::fread(to, 1, size, stdin) == size, "a request ends early");
}

uint32_t read_number() {
    uint32_t number = 0;
    read_exactly(&number, sizeof number);
    return number;
}

std::string read_text() {
    std::string text(read_number(), '\0');
    read_exactly(text.data(), text.size());
    return text;
}

std::optional<std::string> read_optional() {
    if (read_number() == 0) {
        return std::nullopt;
    }
    return read_text();
}

void write_number(uint32_t number) {
    require(std::fwrite(&number, sizeof number, 1, stdout) == 1, "an answer cannot be written");
}

void write_text(const std::string& text) {
    write_number(static_cast<uint32_t>(text.size()));
    require(std::fwrite(text.data(), 1, text.size(), stdout) == text.size(),
            "an answer cannot be written");
}

void answer(int result, const std::string& said, const std::string& bytes) {
    write_number(static_cast<uint32_t>(result));
    write_text(said);
    write_text(bytes);
    std::fflush(stdout);
}

// Appends the next entry of the request to the entry list, as a scan does.
void read_entry() {
    auto* entry = static_cast<dent*>(std::calloc(1, sizeof(dent)));
    require(entry != nullptr, "no memory");
    entry->type = static_cast<uint8_t>(read_number());
    entry->ino = read_number();
    const std::string name = read_text();
    const std::optional<std::string> link = read_optional();
    entry->namelen = static_cast<uint16_t>(name.size());
    entry->name = strdup(name.c_str());
    entry->poolstr = link ? pool_add(link->c_str()) : nullptr;
    (dlist == nullptr ? dlist : dlist_end->next) = entry;
    dlist_end = entry;
    ++tot;
    dtot += entry->type == 4 ? 1 : 0;
}

void write_index(const std::string& path) {
    const auto level = static_cast<int>(read_number());
    const std::string mode = read_text();
    clean_memory();
    tot = dtot = emitted = 0;
    for (uint32_t left = read_number(); left > 0; --left) {
        read_entry();
    }
    set_log(level, nullptr, nullptr);
    int result = -1;
    const qx_test::Output said = qx_test::captured([&] {
        const File stream(std::fopen(path.c_str(), mode.c_str()), std::fclose);
        require(stream != nullptr, "the index cannot be created");
        select_prime();
        create_hash_table();
        result = emit_dirindex(stream.get());
    });
    set_log(0, nullptr, nullptr);
    clean_memory();
    answer(result, said.err, qx_test::read_file(path));
}

void check_index() {
    const auto level = static_cast<int>(read_number());
    const std::string data = read_text();
    const std::optional<std::string> root = read_optional();
    const std::optional<std::string> out = read_optional();
    // A copy of just its size: sanitizers then see every read that leaves it.
    std::vector<char> mapping(data.begin(), data.end());
    set_log(level, nullptr, nullptr);
    int result = 0;
    const qx_test::Output said = qx_test::captured([&] {
        result = fsck_in_core("index", mapping.data(), mapping.size(), out ? out->c_str() : nullptr,
                              root ? root->c_str() : nullptr);
    });
    set_log(0, nullptr, nullptr);
    clean_memory();
    answer(result, said.err, "");
}

}  // namespace

int main() {
    try {
        const qx_test::TempDir dir;
        for (int request = std::getchar(); request != EOF; request = std::getchar()) {
            require(request == 'W' || request == 'C', "an unknown request");
            if (request == 'W') {
                write_index(dir.path("written"));
            } else {
                check_index();
            }
        }
    } catch (const std::exception& fault) {
        std::fprintf(stderr, "index_driver: %s\n", fault.what());
        return 1;
    }
    return 0;
}
