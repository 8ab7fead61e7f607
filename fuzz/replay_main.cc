// Stands in for libFuzzer: gives every file of the named folders to the target once.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    size_t inputs = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i])) {
            if (!entry.is_regular_file()) {
                continue;
            }
            std::ifstream stream(entry.path(), std::ios::binary);
            const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
            ++inputs;
        }
    }
    std::printf("%zu inputs\n", inputs);
    // A corpus that is not found must not look like one that passes.
    return inputs == 0 ? 1 : 0;
}
