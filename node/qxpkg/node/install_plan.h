// Plans the installation or update of a list of template packages before anything is changed.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "node/qxpkg/node/node_templates.h"
#include "node/qxpkg/node/template_package.h"

namespace qxpkg {

/// What to do if a template already exists.
enum class Placing {
    install,       ///< it is a conflict
    update,        ///< replace older versions, keep the others
    unconditional  ///< replace it
};

class InstallPlan {
public:
    /// @throws Failure: kRefused if a template already exists, is listed twice or is for another
    ///         architecture; kFailed if the OS template of an application or the key of a
    ///         repository is missing.
    InstallPlan(const std::vector<TemplatePackage>& packages, Placing placing);

    /// A template of the list, for result lines.
    struct Record {
        std::string os;
        std::string application;  ///< "" for the OS template itself
        bool placed = true;       ///< false: the existing one is not older
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
