// Places records; see record_writer.h.
#include "src/index/record_writer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "src/index/bytes.h"

namespace dirindex {

namespace {

constexpr std::size_t kFlushAt = std::size_t{1} << 18;

std::uint64_t roundUp(std::uint64_t offset, std::uint64_t unit) {
    return (offset + unit - 1) / unit * unit;
}

void putHead(std::uint8_t* at, const Record& record) {
    at[kTypeInRecord] = record.type;
    at[kFlagsInRecord] = record.flags;
    store16(at + kNamelenInRecord, record.namelen);
    store32(at + kReclenInRecord, record.reclen);
    store32(at + kInoInRecord, record.ino);
    store32(at + kLinkInRecord, record.link);
}

}  // namespace

RecordWriter::RecordWriter(std::uint64_t position, Take take)
    : m_take(std::move(take)), m_base(position) {}

std::uint64_t RecordWriter::sizeOf(std::size_t namelen, std::optional<std::size_t> linkLength) {
    return kRecordHeadSize + padded(namelen) +
           (linkLength ? kTextInLinkRecord + padded(*linkLength) : 0);
}

bool RecordWriter::add(Record& record, std::string_view name,
                       std::optional<std::string_view> link) {
    const std::uint64_t size =
        sizeOf(record.namelen, link ? std::optional(link->size()) : std::nullopt);
    std::uint64_t position = end();
    if (position / kBlockSize != (position + size - 1) / kBlockSize) {
        position = roundUp(position, kBlockSize);
    }
    if (position + size > UINT32_MAX) {
        errno = EFBIG;
        return false;
    }
    if (!linkPreviousTo(position)) {
        return false;
    }
    const std::uint64_t behindName = kRecordHeadSize + padded(record.namelen);
    record.offset = position;
    if (link) {
        record.link = static_cast<std::uint32_t>(position + behindName);
    }
    extendTo(position);
    std::uint8_t* bytes = extendTo(position + size);
    putHead(bytes, record);
    std::memcpy(bytes + kRecordHeadSize, name.data(), name.size());
    if (link) {
        store32(bytes + behindName + kLengthInLinkRecord, static_cast<std::uint32_t>(link->size()));
        std::memcpy(bytes + behindName + kTextInLinkRecord, link->data(), link->size());
    }
    return true;
}

bool RecordWriter::finish() {
    if (m_previous != 0) {
        patch32(m_previous + kReclenInRecord, static_cast<std::uint32_t>(end() - m_previous));
    }
    return handOver();
}

/// Appends zeroed room up to a position and gives where it begins.
std::uint8_t* RecordWriter::extendTo(std::uint64_t position) {
    const std::size_t old = m_bytes.size();
    m_bytes.resize(position - m_base);
    return m_bytes.data() + old;
}

void RecordWriter::patch32(std::uint64_t position, std::uint32_t value) {
    store32(&m_bytes[position - m_base], value);
}

/// The previous record learns where the next one is, and may be handed over then.
bool RecordWriter::linkPreviousTo(std::uint64_t position) {
    if (m_previous == 0) {
        m_first = position;
    } else {
        patch32(m_previous + kReclenInRecord, static_cast<std::uint32_t>(position - m_previous));
        if (m_bytes.size() >= kFlushAt && !handOver()) {
            return false;
        }
    }
    m_previous = position;
    return true;
}

bool RecordWriter::handOver() {
    const bool taken = m_take(m_bytes.data(), m_bytes.size());
    m_base += m_bytes.size();
    m_bytes.clear();
    return taken;
}

}  // namespace dirindex
