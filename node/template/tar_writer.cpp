// Writes reproducible tar archives.
#include "node/template/tar_writer.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "node/support/failure.h"

namespace QXA::tem {

using qxnode::Failure;
using qxnode::systemFailure;

namespace {

EntryHandle newEntry(const std::string& path, const struct stat& attributes) {
    EntryHandle entry(archive_entry_new());
    archive_entry_set_pathname(entry.get(), path.c_str());
    archive_entry_set_mode(entry.get(), attributes.st_mode);
    archive_entry_set_uid(entry.get(), attributes.st_uid);
    archive_entry_set_gid(entry.get(), attributes.st_gid);
    archive_entry_set_mtime(entry.get(), attributes.st_mtim.tv_sec, attributes.st_mtim.tv_nsec);
    return entry;
}

int addFilter(archive* handle, const std::string& name) {
    if (name.ends_with(".tar")) {
        return archive_write_add_filter_none(handle);
    }
    if (name.ends_with(".tar.gz")) {
        // Do not let gzip write the current time into its header.
        const int added = archive_write_add_filter_gzip(handle);
        return added == ARCHIVE_OK
                   ? archive_write_set_filter_option(handle, "gzip", "timestamp", nullptr)
                   : added;
    }
    if (name.ends_with(".tar.xz")) {
        return archive_write_add_filter_xz(handle);
    }
    if (name.ends_with(".tar.zst")) {
        return archive_write_add_filter_zstd(handle);
    }
    throw Failure("cannot write '" + name +
                  "': its name must end in .tar, .tar.gz, .tar.xz or .tar.zst");
}

}  // namespace

TarWriter::TarWriter(int file, const std::string& name)
    : m_name(name), m_archive(archive_write_new()) {
    if (addFilter(m_archive.get(), name) != ARCHIVE_OK ||
        archive_write_set_format_pax_restricted(m_archive.get()) != ARCHIVE_OK ||
        // Names are bytes; without this option they would have to be text in the locale's encoding.
        archive_write_set_format_option(m_archive.get(), "pax", "hdrcharset", "BINARY") !=
            ARCHIVE_OK ||
        archive_write_open_fd(m_archive.get(), file) != ARCHIVE_OK) {
        fail();
    }
}

void TarWriter::fail() {
    throw Failure("cannot write '" + m_name + "': " + archiveReason(m_archive.get()));
}

void TarWriter::header(archive_entry* entry) {
    if (archive_write_header(m_archive.get(), entry) != ARCHIVE_OK) {
        fail();
    }
}

void TarWriter::data(const char* bytes, std::size_t size) {
    while (size > 0) {
        const la_ssize_t written = archive_write_data(m_archive.get(), bytes, size);
        if (written <= 0) {
            fail();
        }
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
}

void TarWriter::directory(const std::string& path, const struct stat& attributes) {
    const EntryHandle entry = newEntry(path, attributes);
    archive_entry_set_filetype(entry.get(), AE_IFDIR);
    header(entry.get());
}

void TarWriter::symbolicLink(const std::string& path, const std::string& target,
                             const struct stat& attributes) {
    const EntryHandle entry = newEntry(path, attributes);
    archive_entry_set_filetype(entry.get(), AE_IFLNK);
    archive_entry_set_symlink(entry.get(), target.c_str());
    header(entry.get());
}

void TarWriter::text(const std::string& path, const std::string& content,
                     const struct stat& attributes) {
    const EntryHandle entry = newEntry(path, attributes);
    archive_entry_set_filetype(entry.get(), AE_IFREG);
    archive_entry_set_size(entry.get(), static_cast<la_int64_t>(content.size()));
    header(entry.get());
    data(content.data(), content.size());
}

void TarWriter::file(const std::string& path, int content, const struct stat& attributes) {
    const EntryHandle entry = newEntry(path, attributes);
    archive_entry_set_filetype(entry.get(), AE_IFREG);
    archive_entry_set_size(entry.get(), attributes.st_size);
    header(entry.get());
    std::vector<char> block(std::size_t{128} * 1024);
    auto left = static_cast<std::size_t>(attributes.st_size);
    while (left > 0) {
        const ssize_t got = read(content, block.data(), std::min(block.size(), left));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            throw systemFailure("read", path);
        }
        if (got == 0) {
            throw Failure("cannot read '" + path + "': it became shorter meanwhile");
        }
        data(block.data(), static_cast<std::size_t>(got));
        left -= static_cast<std::size_t>(got);
    }
}

void TarWriter::hardLink(const std::string& path, const std::string& target) {
    const EntryHandle entry(archive_entry_new());
    archive_entry_set_pathname(entry.get(), path.c_str());
    archive_entry_set_filetype(entry.get(), AE_IFREG);
    archive_entry_set_hardlink(entry.get(), target.c_str());
    header(entry.get());
}

void TarWriter::finish() {
    if (archive_write_close(m_archive.get()) != ARCHIVE_OK) {
        fail();
    }
}

}  // namespace QXA::tem
