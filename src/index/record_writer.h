// Places the records of an index and makes their bytes.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "src/index/reader.h"

namespace dirindex {

/// Writes records with a buffer in memory. The buffer always keeps the last record, because its
/// reclen is known only when the next one is placed.
class RecordWriter {
public:
    /// Receives the next bytes of the file; false with errno.
    using Take = std::function<bool(const std::uint8_t* bytes, std::size_t size)>;

    /// @param position  of the first record, unless it would cross a block there.
    RecordWriter(std::uint64_t position, Take take);

    /// Places a record and sets its `offset` and, with a link string of its own, `link`; reclen is
    /// set later. False with errno: it does not fit, or could not be written.
    /// @param link  the link string to put after the name.
    bool add(Record& record, std::string_view name, std::optional<std::string_view> link);

    /// Writes the rest of the buffer. False with errno.
    bool finish();

    /// Where the first and the last record are; 0 without records.
    [[nodiscard]] std::uint64_t first() const { return m_first; }
    [[nodiscard]] std::uint64_t last() const { return m_previous; }
    [[nodiscard]] std::uint64_t end() const { return m_base + m_bytes.size(); }

    /// The bytes of a record, its link string included; a reader takes no more than a block.
    static std::uint64_t sizeOf(std::size_t namelen, std::optional<std::size_t> linkLength);

private:
    std::uint8_t* extendTo(std::uint64_t position);
    void patch32(std::uint64_t position, std::uint32_t value);
    bool linkPreviousTo(std::uint64_t position);
    bool handOver();

    Take m_take;
    std::uint64_t m_base;
    std::vector<std::uint8_t> m_bytes;
    std::uint64_t m_previous = 0;
    std::uint64_t m_first = 0;
};

}  // namespace dirindex
