// One pass over the entries of an untrusted archive.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <functional>
#include <string>

#include "QXA/QXATEMLocal.h"
#include "node/support/failure.h"
#include "node/template/archive_handle.h"

namespace QXA::tem {

/// Bounds of what one archive may hold, against archives that unpack without end.
struct PackageLimits {
    std::uint64_t entries = 1'000'000;
    std::uint64_t bytes = std::uint64_t{64} << 30;
};

/// An error of the archive itself; the message names its file.
class ArchiveFailure : public qxnode::Failure {
public:
    using Failure::Failure;
};

/// Reads entries in their order, each once. Methods throw ArchiveFailure.
class ArchivePass {
public:
    /// @param file  read from its beginning; must stay open.
    /// @param path  its name in messages.
    /// @throws ArchiveFailure kTemDamaged if it is not an archive; Failure.
    ArchivePass(int file, std::string path, const PackageLimits& limits);

    /// The next entry, valid until the next call; null at the archive's end.
    /// @throws ArchiveFailure kTemDamaged, also if the archive has no end mark.
    archive_entry* next();

    /// Calls a function with the entry's content, block by block with its offset; holes are left
    /// out.
    using Take = std::function<void(const char* data, std::size_t size, std::int64_t offset)>;
    void content(const Take& take);

    /// Size of the entry's content. @throws ArchiveFailure kTemDamaged if it exceeds the limits.
    std::int64_t sizeOf(archive_entry* entry) const;

    [[noreturn]] void refuse(const std::string& why, int code = kTemDamaged) const;

private:
    std::string m_path;
    PackageLimits m_limits;
    ArchiveHandle m_archive;
    std::uint64_t m_entries = 0;
    std::uint64_t m_bytes = 0;
};

/// Owner, mode and modification time of an entry.
struct stat attributesOf(archive_entry* entry);

}  // namespace QXA::tem
