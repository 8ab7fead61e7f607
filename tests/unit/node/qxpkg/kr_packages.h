// Builders of KR template packages, good and bad, and of templates that are on a node already.
#pragma once

#include <archive.h>
#include <archive_entry.h>

#include <string>
#include <vector>

#include "tests/support/test_node.h"

namespace qxpkg_test {

// A package, entry by entry, so that every defect can be built.
class KrPackage {
public:
    KrPackage& file(std::string name, std::string content);
    KrPackage& folder(std::string name);
    KrPackage& link(std::string name, std::string target);
    KrPackage& hardLink(std::string name, std::string target);
    KrPackage& special(std::string name, unsigned type);

    // Writes the package and gives its path. The ending is not looked at.
    std::string write(const std::string& path, int filter = ARCHIVE_FILTER_NONE) const;

private:
    struct Entry {
        std::string name;
        std::string text;  // content or target
        unsigned type = AE_IFREG;
        bool isHardLink = false;
    };

    std::vector<Entry> m_entries;
};

// Manifests with what every one needs; `more` is appended.
std::string osManifest(const std::string& name, const std::string& version,
                       const std::string& more = "");
std::string appManifest(const std::string& os, const std::string& name, const std::string& version,
                        const std::string& more = "");

// Packages of just a manifest.
KrPackage osPackage(const std::string& name, const std::string& version,
                    const std::string& more = "");
KrPackage appPackage(const std::string& os, const std::string& name, const std::string& version,
                     const std::string& more = "");

// What a function gives beside its result: the code of the Failure that it threw (0 without one),
// its reason, and the lines on both outputs.
struct Outcome {
    int code = 0;
    std::string reason;
    std::string out;
    std::string err;
};
Outcome outcomeOf(const std::function<void()>& action);

// Everything below a folder as "path=content" lines, for comparing states.
std::string treeText(const std::string& folder);

}  // namespace qxpkg_test
