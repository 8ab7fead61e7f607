// Writes reproducible tar archives: the same tree gives the same bytes.
#pragma once

#include <sys/stat.h>

#include <string>

#include "node/template/archive_handle.h"

namespace QXA::tem {

/// Methods throw Failure.
class TarWriter {
public:
    /// @param file    descriptor to write to; must stay open.
    /// @param name    its ending selects the compression: ".tar", ".tar.gz", ".tar.xz", ".tar.zst";
    ///                also used in messages.
    TarWriter(int file, const std::string& name);

    void directory(const std::string& path, const struct stat& attributes);
    void symbolicLink(const std::string& path, const std::string& target,
                      const struct stat& attributes);
    void text(const std::string& path, const std::string& content, const struct stat& attributes);
    /// The content of an open regular file; its attributes say how long it is.
    void file(const std::string& path, int content, const struct stat& attributes);
    void hardLink(const std::string& path, const std::string& target);
    void finish();

private:
    void header(archive_entry* entry);
    void data(const char* bytes, std::size_t size);
    [[noreturn]] void fail();

    std::string m_name;
    ArchiveHandle m_archive;
};

}  // namespace QXA::tem
