// Option records of the package-manager operations.
#pragma once

#include <string>
#include <vector>

namespace QXL {

/// Bits of QXLPackageManagerOptions::flags, with the KR tool's options for them. The standard
/// technology heeds only kPkgOptionForce: a dry run does not keep it from changing things.
enum PkgOption : unsigned {
    kPkgOptionCacheOnly = 1,      ///< "-C": use only what was fetched before
    kPkgOptionDryRun = 2,         ///< "-n": report what would be done; change nothing
    kPkgOptionWithDependent = 4,  ///< "-w": also remove packages that depend on the named ones
    kPkgOptionForce = 8,          ///< "-f": go on if something is in conflict or already there
};

/// Options of install, update and remove. `flags` must stay the first member: agents of other
/// makers write it as the record's first word.
struct QXLPackageManagerOptions {
    unsigned flags = 0;
};

/// Bits of QXLPackageManagerListOptions::flags.
enum PkgListOption : unsigned {
    kPkgListSummary = 16,     ///< fill in summaries
    kPkgListCompatible = 32,  ///< only what fits the container, or on the node the request
};

/// Options of list.
struct QXLPackageManagerListOptions {
    /// @param flagWord  bits of PkgListOption; others are ignored.
    explicit QXLPackageManagerListOptions(unsigned flagWord) : flags(flagWord) {}

    unsigned flags;
    std::vector<std::string> types;  ///< "rpm" (Linux packages), "os", "app"; if none: templates
};

}  // namespace QXL
