// Owners of libarchive's objects, and its error texts.
#pragma once

#include <archive.h>
#include <archive_entry.h>

#include <memory>
#include <string>

namespace QXA::tem {

struct FreeArchive {
    void operator()(archive* handle) const { archive_free(handle); }
};
using ArchiveHandle = std::unique_ptr<archive, FreeArchive>;

struct FreeEntry {
    void operator()(archive_entry* entry) const { archive_entry_free(entry); }
};
using EntryHandle = std::unique_ptr<archive_entry, FreeEntry>;

inline std::string archiveReason(archive* handle) {
    const char* text = archive_error_string(handle);
    return text == nullptr ? "unknown archive error" : text;
}

/// A reader of tar archives. It uses only the library's own filters: no other program may be run on
/// an untrusted file.
inline ArchiveHandle newTarReader() {
    ArchiveHandle handle(archive_read_new());
    archive_read_support_format_tar(handle.get());
    archive_read_support_filter_none(handle.get());
    archive_read_support_filter_bzip2(handle.get());
    archive_read_support_filter_compress(handle.get());
    archive_read_support_filter_gzip(handle.get());
    archive_read_support_filter_lz4(handle.get());
    archive_read_support_filter_lzip(handle.get());
    archive_read_support_filter_lzma(handle.get());
    archive_read_support_filter_xz(handle.get());
    archive_read_support_filter_zstd(handle.get());
    return handle;
}

}  // namespace QXA::tem
