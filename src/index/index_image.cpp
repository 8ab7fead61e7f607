// Dumps index files byte-exactly: entries first, then what the library's writer makes otherwise.
#include "src/index/index_image.h"

#include <algorithm>

#include "src/index/index_file.h"

namespace dirindex {

namespace {

/// Differences nearer than this go into one patch.
constexpr std::size_t kPatchGap = 16;

std::vector<IndexPatch> differences(const std::string& wanted, std::string built) {
    built.resize(wanted.size(), '\0');
    std::vector<IndexPatch> patches;
    std::size_t place = 0;
    while (place < wanted.size()) {
        const auto [at, other] =
            std::mismatch(wanted.begin() + static_cast<std::ptrdiff_t>(place), wanted.end(),
                          built.begin() + static_cast<std::ptrdiff_t>(place));
        const auto first = static_cast<std::size_t>(at - wanted.begin());
        if (first == wanted.size()) {
            break;
        }
        std::size_t last = first;
        for (std::size_t i = first; i < wanted.size() && i <= last + kPatchGap; ++i) {
            last = wanted[i] != built[i] ? i : last;
        }
        patches.push_back({first, wanted.substr(first, last - first + 1)});
        place = last + 1;
    }
    return patches;
}

}  // namespace

bool dumpImage(const std::string& bytes, IndexText& text, std::string& error) {
    auto index = decodeIndex(bytes);
    if (!index.sound) {
        error = index.reason;
        return false;
    }
    text = {};
    text.entries = std::move(index.entries);
    std::string built;
    if (!buildIndex(text.entries, built, error)) {
        return false;
    }
    if (built.size() != bytes.size()) {
        text.size = bytes.size();
    }
    text.patches = differences(bytes, std::move(built));
    return true;
}

bool buildImage(const IndexText& text, std::string& bytes, std::string& error) {
    if (!buildIndex(text.entries, bytes, error)) {
        return false;
    }
    if (text.size.has_value()) {
        bytes.resize(*text.size, '\0');
    }
    for (const auto& patch : text.patches) {
        if (patch.offset > bytes.size() || patch.bytes.size() > bytes.size() - patch.offset) {
            error = "bytes at " + std::to_string(patch.offset) + " lie outside the file";
            return false;
        }
        bytes.replace(patch.offset, patch.bytes.size(), patch.bytes);
    }
    return true;
}

}  // namespace dirindex
