// One pass over the entries of an archive that nobody vouches for.
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

/// What is wrong with the archive itself; the message names its file.
class ArchiveFailure : public qxnode::Failure {
public:
    using Failure::Failure;
};

/// Reads entries in their order, each once. Methods throw ArchiveFailure.
class ArchivePass {
public:
    /// @param file  borrowed, read from its beginning.
    /// @param path  its name in messages.
    /// @throws ArchiveFailure kTemDamaged when it is no archive; Failure.
    ArchivePass(int file, std::string path, const PackageLimits& limits);

    /// The next entry, borrowed until the next call; null at the archive's end.
    /// @throws ArchiveFailure kTemDamaged, also when the archive ends without its end mark.
    archive_entry* next();

    /// Hands the entry's content over, block by block with its offset; holes are passed over.
    using Take = std::function<void(const char* data, std::size_t size, std::int64_t offset)>;
    void content(const Take& take);

    /// Size of the entry's content. @throws ArchiveFailure kTemDamaged when it is out of bounds.
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
