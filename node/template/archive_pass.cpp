// One pass over the entries of an untrusted archive.
#include "node/template/archive_pass.h"

#include <sys/stat.h>
#include <unistd.h>

namespace QXA::tem {

using qxnode::systemFailure;

namespace {

constexpr std::size_t kReadBlock = std::size_t{128} * 1024;

}  // namespace

ArchivePass::ArchivePass(int file, std::string path, const PackageLimits& limits)
    : m_path(std::move(path)), m_limits(limits), m_archive(newTarReader()) {
    if (lseek(file, 0, SEEK_SET) != 0) {
        throw systemFailure("read template package", m_path);
    }
    if (archive_read_open_fd(m_archive.get(), file, kReadBlock) != ARCHIVE_OK) {
        refuse(archiveReason(m_archive.get()));
    }
}

void ArchivePass::refuse(const std::string& why, int code) const {
    throw ArchiveFailure(code, "template package '" + m_path + "': " + why);
}

archive_entry* ArchivePass::next() {
    archive_entry* entry = nullptr;
    const int result = archive_read_next_header(m_archive.get(), &entry);
    if (result == ARCHIVE_EOF) {
        // A block of zeros marks the end; without it the file was cut off between two entries.
        if (archive_filter_bytes(m_archive.get(), 0) <=
            archive_read_header_position(m_archive.get())) {
            refuse("is cut short: the end of the archive is missing");
        }
        return nullptr;
    }
    if (result != ARCHIVE_OK && result != ARCHIVE_WARN) {
        refuse(archiveReason(m_archive.get()));
    }
    if (++m_entries > m_limits.entries) {
        refuse("holds more than " + std::to_string(m_limits.entries) + " entries");
    }
    if (archive_entry_pathname(entry) == nullptr) {
        refuse("holds an entry whose name cannot be read");
    }
    return entry;
}

void ArchivePass::content(const Take& take) {
    for (;;) {
        const void* block = nullptr;
        std::size_t size = 0;
        la_int64_t offset = 0;
        const int result = archive_read_data_block(m_archive.get(), &block, &size, &offset);
        if (result == ARCHIVE_EOF) {
            return;
        }
        if (result != ARCHIVE_OK) {
            refuse(archiveReason(m_archive.get()));
        }
        m_bytes += size;
        if (m_bytes > m_limits.bytes) {
            refuse("unpacks to more than " + std::to_string(m_limits.bytes) + " bytes");
        }
        take(static_cast<const char*>(block), size, offset);
    }
}

std::int64_t ArchivePass::sizeOf(archive_entry* entry) const {
    const std::int64_t size = archive_entry_size(entry);
    if (size < 0 || static_cast<std::uint64_t>(size) > m_limits.bytes) {
        refuse("holds a file of " + std::to_string(size) + " bytes");
    }
    return size;
}

struct stat attributesOf(archive_entry* entry) {
    struct stat st {};
    st.st_mode = archive_entry_mode(entry);
    st.st_uid = static_cast<uid_t>(archive_entry_uid(entry));
    st.st_gid = static_cast<gid_t>(archive_entry_gid(entry));
    st.st_mtim = {archive_entry_mtime(entry), archive_entry_mtime_nsec(entry)};
    st.st_atim = st.st_mtim;
    return st;
}

}  // namespace QXA::tem
