// What installing or updating a list of template packages changes, worked out before anything is.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "node/qxpkg/node/node_templates.h"
#include "node/qxpkg/node/template_package.h"

namespace qxpkg {

/// How a list of packages meets what is there.
enum class Placing {
    install,       ///< what is there already is a conflict
    update,        ///< what is older is replaced, the rest stays
    unconditional  ///< everything is replaced
};

class InstallPlan {
public:
    /// @throws Failure: kRefused for what is there already, listed twice or made for another
    ///         architecture; kFailed for an application without its OS template, or a repository
    ///         without its key.
    InstallPlan(const std::vector<TemplatePackage>& packages, Placing placing);

    /// A template of the list, for result lines.
    struct Record {
        std::string os;
        std::string application;  ///< "" for the OS template itself
        bool placed = true;       ///< false: what is there already is as new
    };
    [[nodiscard]] const std::vector<Record>& records() const { return m_records; }

    /// Files by their path in an OS template's folder.
    struct OsChange {
        bool whole = false;  ///< the folder is replaced by these files
        std::map<std::string, std::string> files;
    };
    /// By plain name of the OS template.
    [[nodiscard]] const std::map<std::string, OsChange>& changes() const { return m_changes; }

private:
    struct Os {
        NodeOsTemplate before;
        NodeOsTemplate after;
        bool whole = false;
    };

    Os& os(const std::string& name);
    void addOs(const TemplatePackage& package);
    void addApplication(const std::string& os, const ManifestFile& file);
    void addKeys(Os& os, const TemplatePackage& package);
    bool place(const ManifestFile* present, const ManifestFile& file, const std::string& what);
    void record(const qxnode::KrManifest& manifest, bool placed);
    void check(const Record& record) const;
    static OsChange changeOf(const Os& os);

    Placing m_placing;
    std::map<std::string, Os> m_templates;  ///< by plain name
    std::vector<Record> m_records;
    std::map<std::string, OsChange> m_changes;
};

}  // namespace qxpkg
