// Option records of the package-manager operations.
#pragma once

#include <string>
#include <vector>

namespace QXL {

/// Bits of QXLPackageManagerOptions::flags. Letters are the words that the KR tool knows them by.
enum PkgOption : unsigned {
    kPkgOptionCacheOnly = 1,      ///< "-C": work from what was fetched before
    kPkgOptionDryRun = 2,         ///< "-n": say what would be done and change nothing
    kPkgOptionWithDependent = 4,  ///< "-w": on removal, take what depends on the package along
    kPkgOptionForce = 8,          ///< "-f", and the template manager's force switch
};

/// Options of install, update and remove. The flag word stays the first member: callers of other
/// makes set it as the record's first word.
struct QXLPackageManagerOptions {
    unsigned flags = 0;
};

/// Bits of QXLPackageManagerListOptions::flags.
enum PkgListOption : unsigned {
    kPkgListSummary = 16,     ///< fill in summaries
    kPkgListCompatible = 32,  ///< only what is compatible with the target or the request
};

/// Options of list.
struct QXLPackageManagerListOptions {
    /// @param flagWord  bits of PkgListOption; others are ignored.
    explicit QXLPackageManagerListOptions(unsigned flagWord) : flags(flagWord) {}

    unsigned flags;
    std::vector<std::string> types;  ///< "rpm", "os", "app"; other names are ignored
};

}  // namespace QXL
