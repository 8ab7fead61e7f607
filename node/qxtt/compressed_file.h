// Reading a file that may be compressed, in any way that libarchive knows.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace qxtt {

/// Gives the content block by block.
/// @throws Failure QXTT_E_BAD_REPOSITORY when the file cannot be read, is damaged, or holds more
/// than
///         `limit` bytes. Exceptions of `onBlock` pass through.
void readCompressedFile(const std::string& path, std::uint64_t limit,
                        const std::function<void(std::string_view block)>& onBlock);

}  // namespace qxtt
