// Texts of indexes: what parses is written and parsed again to the same; and any bytes that pass as
// an index are dumped and built again to the same bytes.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "src/index/index_image.h"
#include "src/index/index_text.h"

namespace {

void textRoundTrip(const std::string& text) {
    dirindex::IndexText first;
    dirindex::IndexText second;
    std::string error;
    if (!dirindex::parseIndex(text, first, error)) {
        return;
    }
    if (!dirindex::parseIndex(dirindex::formatIndex(first), second, error) || !(first == second)) {
        std::abort();
    }
}

void imageRoundTrip(const std::string& bytes) {
    dirindex::IndexText text;
    dirindex::IndexText parsed;
    std::string error;
    std::string built;
    if (!dirindex::dumpImage(bytes, text, error)) {
        return;
    }
    if (!dirindex::parseIndex(dirindex::formatIndex(text), parsed, error) ||
        !dirindex::buildImage(parsed, built, error) || built != bytes) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    textRoundTrip(input);
    imageRoundTrip(input);
    return 0;
}
