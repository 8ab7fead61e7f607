// Reads template packages, which are untrusted archives.
#pragma once

#include <string>

#include "base/fd.h"
#include "node/agent/tem/manifest.h"
#include "node/template/archive_pass.h"

namespace QXA::tem {

/// An opened package file whose manifest has been read. The same opened file is unpacked later,
/// even if another file has taken its place meanwhile.
class PackageReader {
public:
    /// @throws Failure kTemNotStandard: an archive without manifest, or of another technology;
    ///         kTemDamaged: not an archive, cut off, or its manifest has errors.
    explicit PackageReader(const std::string& path, const PackageLimits& limits = {});

    [[nodiscard]] const Manifest& manifest() const { return m_manifest; }

    /// Unpacks into an empty directory: "template.toml" and "root/". Nothing is flushed.
    /// @throws Failure kTemDamaged for an entry that is not allowed; kNoCode if something cannot be
    ///         written. The caller must remove what was unpacked until then.
    void unpack(int directory);

private:
    void readManifest();

    std::string m_path;
    PackageLimits m_limits;
    base::Fd m_file;
    std::string m_manifestText;
    Manifest m_manifest;
};

}  // namespace QXA::tem
