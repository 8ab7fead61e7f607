// libarchive's filters without its formats; see compressed_file.h.
#include "node/kr/compressed_file.h"

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <memory>

#include "base/fd.h"
#include "base/system_error.h"
#include "node/support/failure.h"
#include "qxtt/qxtt.h"

namespace qxnode {

namespace {

constexpr std::size_t kBlock = 64U << 10;

struct FreeArchive {
    void operator()(archive* reader) const { archive_read_free(reader); }
};
using Reader = std::unique_ptr<archive, FreeArchive>;

Failure unreadable(const std::string& path, const std::string& reason) {
    return {QXTT_E_BAD_REPOSITORY, "cannot read '" + path + "': " + reason};
}

Failure unreadable(const std::string& path, const Reader& reader) {
    const char* reason = archive_error_string(reader.get());
    return unreadable(path, reason == nullptr ? "damaged" : reason);
}

/// Opens a file without waiting: a fifo in a repository is refused.
base::Fd openRegular(const std::string& path) {
    base::Fd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat st {};
    if (!fd || fstat(fd.get(), &st) != 0) {
        throw Failure(QXTT_E_BAD_REPOSITORY, base::systemError("read", path));
    }
    if (!S_ISREG(st.st_mode)) {
        throw unreadable(path, "not a regular file");
    }
    return fd;
}

}  // namespace

std::string packedFile(const std::string& name) {
    for (const char* suffix : {"", ".gz", ".xz", ".zst", ".bz2", ".lzma"}) {
        struct stat st {};
        if (stat((name + suffix).c_str(), &st) == 0) {
            return name + suffix;
        }
    }
    throw Failure(QXTT_E_BAD_REPOSITORY, "there is no '" + name + "', packed or not");
}

void readCompressedFile(const std::string& path, std::uint64_t limit,
                        const std::function<void(std::string_view block)>& onBlock) {
    const base::Fd fd = openRegular(path);
    const Reader reader(archive_read_new());
    if (!reader) {
        throw std::bad_alloc();
    }
    archive_read_support_filter_all(reader.get());
    archive_read_support_format_raw(reader.get());
    archive_read_support_format_empty(reader.get());
    if (archive_read_open_fd(reader.get(), fd.get(), kBlock) != ARCHIVE_OK) {
        throw unreadable(path, reader);
    }
    archive_entry* entry = nullptr;
    const int header = archive_read_next_header(reader.get(), &entry);
    if (header == ARCHIVE_EOF) {
        return;
    }
    if (header != ARCHIVE_OK) {
        throw unreadable(path, reader);
    }
    std::array<char, kBlock> block{};
    std::uint64_t total = 0;
    for (;;) {
        const la_ssize_t got = archive_read_data(reader.get(), block.data(), block.size());
        if (got == 0) {
            return;
        }
        if (got < 0) {
            throw unreadable(path, reader);
        }
        total += static_cast<std::uint64_t>(got);
        if (total > limit) {
            throw unreadable(path, "holds more than " + std::to_string(limit) + " bytes");
        }
        onBlock({block.data(), static_cast<std::size_t>(got)});
    }
}

}  // namespace qxnode
