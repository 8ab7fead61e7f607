// The walks of a check; see structure.h.
#include "src/index/structure.h"

namespace dirindex {

namespace {

class StructureCheck {
public:
    StructureCheck(MarkingReader& index, CheckListener& listener)
        : m_index(index), m_listener(listener) {}

    bool run() { return headerIsSound() && bucketsAreSound() && recordsAreSound(); }

private:
    bool fault(Remark remark, const Record& record = {}) {
        m_listener.remark(remark, m_header, record);
        return false;
    }
    void warn(Remark remark) { m_listener.remark(remark, m_header, {}); }

    bool headerIsSound() {
        m_header = m_index.header();
        if (!m_index.has_header() || m_header.signature != kSignature) {
            return fault(Remark::wrongSignature);
        }
        m_index.clear_checksum();
        m_listener.header(m_header);
        if (m_header.prime == 0) {
            return fault(Remark::noBuckets);
        }
        if (m_header.start >= m_index.size()) {
            return fault(Remark::startBehindEnd);
        }
        if (m_header.start == 0) {
            warn(Remark::emptyDirectory);
        } else if (m_header.start < kHashTableOffset + kHashSlotSize * m_header.prime) {
            return fault(Remark::startInHashTable);
        }
        return true;
    }

    bool bucketsAreSound() {
        const std::uint64_t slots = m_index.slots(m_header.prime);
        for (std::uint64_t i = 0; i < slots; ++i) {
            const std::uint32_t offset = m_index.slot(i);
            if (offset != 0 && !bucketIsSound(offset)) {
                return false;
            }
        }
        return true;
    }

    bool bucketIsSound(std::uint64_t offset) {
        for (;;) {
            if (offset < m_header.start || offset >= m_index.size()) {
                return fault(Remark::bucketToNowhere);
            }
            if (!m_index.has_head(offset)) {
                return fault(Remark::truncatedRecord);
            }
            const Record record = m_index.record(offset);
            if ((record.flags & kReservedFlags) != 0) {
                return fault(Remark::bucketsCross);
            }
            if (m_endSeen) {
                warn(Remark::recordBehindEnd);
            }
            m_index.mark_visited(record);
            if (!reachedRecordIsSound(record)) {
                return false;
            }
            const bool lastOfFile = (record.flags & kLastOfFile) != 0;
            m_endSeen = m_endSeen || lastOfFile;
            if ((record.flags & kLastOfBucket) != 0) {
                return true;
            }
            if (lastOfFile) {
                warn(Remark::endInsideBucket);
            }
            offset += record.reclen;
        }
    }

    bool reachedRecordIsSound(const Record& record) {
        if (record.reclen < kMinReclen || record.reclen > kMaxReclen ||
            !m_index.holds_record(record)) {
            return fault(Remark::badReclen);
        }
        if (record.namelen > kMaxNamelen || !m_index.holds_padded_name(record)) {
            return fault(Remark::badNamelen, record);
        }
        if (record.link == 0) {
            return true;
        }
        if (record.link <= m_header.start) {
            return fault(Remark::linkToHashTable, record);
        }
        if (record.link > record.offset + record.reclen ||
            m_index.link_text(record.link) == nullptr) {
            return fault(Remark::linkForward);
        }
        return true;
    }

    bool recordsAreSound() {
        m_endSeen = false;
        std::uint64_t offset = m_header.start;
        while (offset != m_index.size()) {
            // Without a start the walk would read the header as a record, whose reclen is that
            // start.
            if (m_header.start == 0 || !m_index.has_head(offset)) {
                return fault(Remark::truncated);
            }
            const Record record = m_index.record(offset);
            if (!listedRecordIsSound(record)) {
                return false;
            }
            offset += record.reclen;
            if ((record.flags & kVisited) == 0) {
                warn(Remark::inNoBucket);
            }
            if ((record.flags & kLastOfFile) != 0) {
                if (offset != m_index.size()) {
                    warn(Remark::endInside);
                }
                m_endSeen = true;
            }
        }
        if (!m_endSeen) {
            warn(Remark::noEnd);
        }
        return true;
    }

    bool listedRecordIsSound(const Record& record) {
        const char* name = m_index.name(record);
        if (record.reclen < kMinReclen || !m_index.holds_record(record) || name == nullptr) {
            return fault(Remark::truncated);
        }
        const char* link = record.link != 0 ? m_index.link_text(record.link) : nullptr;
        if (record.link != 0 && link == nullptr) {
            return fault(Remark::linkForward);
        }
        return m_listener.entry(record, name, link) || fault(Remark::truncated);
    }

    MarkingReader& m_index;
    CheckListener& m_listener;
    Header m_header{};
    bool m_endSeen = false;
};

}  // namespace

bool checkStructure(MarkingReader& index, CheckListener& listener) {
    return StructureCheck(index, listener).run();
}

}  // namespace dirindex
