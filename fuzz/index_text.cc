// Texts of indexes: what parses is written and parsed again to the same; and any bytes that pass as
// an index are dumped and built again to the same bytes.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "tools/qxfsutil/index_image.h"
#include "tools/qxfsutil/index_text.h"

namespace {

void textRoundTrip(const std::string& text) {
    qxfsutil::IndexText first;
    qxfsutil::IndexText second;
    std::string error;
    if (!qxfsutil::parseIndex(text, first, error)) {
        return;
    }
    if (!qxfsutil::parseIndex(qxfsutil::formatIndex(first), second, error) || !(first == second)) {
        std::abort();
    }
}

void imageRoundTrip(const std::string& bytes) {
    qxfsutil::IndexText text;
    qxfsutil::IndexText parsed;
    std::string error;
    std::string built;
    if (!qxfsutil::dumpImage(bytes, text, error)) {
        return;
    }
    if (!qxfsutil::parseIndex(qxfsutil::formatIndex(text), parsed, error) ||
        !qxfsutil::buildImage(parsed, built, error) || built != bytes) {
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
