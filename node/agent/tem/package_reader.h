// Reads template packages: archives from anywhere, of which nothing is believed.
#pragma once

#include <string>

#include "base/fd.h"
#include "node/agent/tem/manifest.h"
#include "node/template/archive_pass.h"

namespace QXA::tem {

/// A package file that is open, with its manifest read. The same open file is unpacked later, so
/// that a file put in its place meanwhile is not.
class PackageReader {
public:
    /// @throws Failure kTemNotStandard: a whole archive without manifest, or of another technology;
    ///         kTemDamaged: no archive, cut short, or with a manifest that is not right.
    explicit PackageReader(const std::string& path, const PackageLimits& limits = {});

    [[nodiscard]] const Manifest& manifest() const { return m_manifest; }

    /// Unpacks into an empty directory: "template.toml" and "root/". Nothing is flushed.
    /// @throws Failure kTemDamaged for an entry that is not allowed; kNoCode when something
    ///         could not be written. What was unpacked until then stays for the caller to remove.
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
