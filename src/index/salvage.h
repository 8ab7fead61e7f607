// What can be told of the entries of a damaged index.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace dirindex {

/// A place in a damaged index that looks like a record. Texts lie in the index's bytes.
struct SalvagedRecord {
    std::uint8_t type = 0;
    std::uint32_t ino = 0;
    std::string_view name;
    std::string_view link;        ///< link string, "////" included; empty for an ordinary entry
    std::uint32_t linkPlace = 0;  ///< where the link string's record is
    bool whole = false;           ///< nothing of the record is wrong
};

/// Calls `visit` for everything that looks like a record. A record that is whole is passed by its
/// length, so that what is visited as whole never overlaps. Of other places only the name and the
/// link string hold; whether they are true is for the caller to tell by the template files.
/// @return true when whole records follow each other from the first to the end of the file, so that
///         every entry was visited.
bool salvageRecords(std::string_view bytes,
                    const std::function<void(const SalvagedRecord&)>& visit);

/// Corrects the one bit by which the bytes of a small index differ from what its checksum was made
/// of. @return false when there is no such bit, or the index is too large to look for it.
bool mendFlippedBit(std::string& bytes);

}  // namespace dirindex
