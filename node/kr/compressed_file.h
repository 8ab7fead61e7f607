// Reading a file that may be compressed, in any way that libarchive knows.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace qxnode {

/// Longest list of packages: unpacked, those of the largest distributions are a tenth of this.
inline constexpr std::uint64_t kMaxIndex = 2ULL << 30;

/// The file of this name, packed or not. @throws Failure QXTT_E_BAD_REPOSITORY
std::string packedFile(const std::string& name);

/// Calls `onBlock` with the content, block by block.
/// @throws Failure QXTT_E_BAD_REPOSITORY if the file cannot be read, is damaged, or has more than
///         `limit` bytes. Exceptions of `onBlock` reach the caller.
void readCompressedFile(const std::string& path, std::uint64_t limit,
                        const std::function<void(std::string_view block)>& onBlock);

}  // namespace qxnode
