// QXATEMLocal: the agent's template manager for standard templates of this node.
#pragma once

#include <string>
#include <vector>

#include "QXA/QXATemplate.h"
#include "QXL/Export.h"
#include "QXL/QXLAccessProvider.h"
#include "QXL/QXLEID.h"

namespace QXA {

/// Results of the template manager. Any other non-zero value is a failure, too. After each failure
/// the reason is in getErrorMessage().
enum TemResult : int {
    kTemOk = 0,
    kTemDamaged = -5,           ///< a file is damaged, unsafe, or lacks a prerequisite
    kTemConflict = -7,          ///< already there, in conflict or incompatible, and not forced
    kTemNotStandard = -27,      ///< a file is not a standard template package
    kTemUnknownTemplate = -30,  ///< no such template
    kTemUnknownVersion = -51,   ///< no such version of the template
};

/// The plug-in makes a new object for each call. A call does its whole list or nothing: if it
/// fails, nothing was changed and output lists are as before. Calls that change something wait for
/// each other (see QXL/QXLLockPolicy.h); if the wait times out, the call fails and
/// QXL::getLastErrorData() has QXL::kErrorLockTimeout.
class QXL_API QXATEMLocal {
public:
    /// Which templates ls() lists.
    enum pkgType : int {
        kOsTemplates = 1,
        kApplicationTemplates = 2,
        kAllTemplates = 3,
    };

    /// @param access  the request's provider; may be null.
    explicit QXATEMLocal(QXL::QXLAccess access);
    ~QXATEMLocal();
    QXATEMLocal(const QXATEMLocal&) = delete;
    QXATEMLocal& operator=(const QXATEMLocal&) = delete;

    /// Appends the templates of the node (EID_LOCAL or the node's EID) or of a container to
    /// `infos`, ordered by name, their versions from old to new. Of a version whose manifest cannot
    /// be read only the version is filled in. @return 0 or a failure.
    int ls(std::vector<QXAPackageInfo>& infos, const QXL::QXLEID& eid, pkgType type);

    /// Reads one template of the node: the version of the key, or all versions if it names none.
    /// @return 0, kTemUnknownTemplate, kTemUnknownVersion, or another failure.
    int get(const QXATemplate& key, QXAPackageInfo& info);

    /// Reads the configuration of one template version; an empty version means the newest.
    /// @return 0, kTemUnknownTemplate, kTemUnknownVersion, or another code if the manifest cannot
    ///         be read.
    int getTemplateConfig(const QXATemplate& key, QXATemplateConfigInfo& config);

    /// Adds templates to a container. An empty version means the newest; an empty list updates all
    /// templates of the container.
    /// @param force       go on if the version is already there or in conflict; a container's own
    ///                    file in a template's place is kept until the template is removed.
    /// @param removeOnly  false on install and update.
    /// @return 0, kTemConflict, kTemUnknownTemplate, kTemUnknownVersion, or another failure.
    int add(const QXL::QXLEID& eid, const std::vector<QXATemplate>& keys, bool force,
            bool removeOnly);

    /// Removes templates from a container; an empty list removes nothing and gives 0.
    /// @param force       remove it although another template of the container needs it.
    /// @param removeOnly  true on removal.
    /// @return 0, kTemConflict, kTemUnknownTemplate or kTemUnknownVersion (the container has no
    ///         such template, or another version of it), or another failure.
    int rm(const QXL::QXLEID& eid, const std::vector<QXATemplate>& keys, bool force,
           bool removeOnly);

    /// Installs template packages from files of the node and appends the installed templates to
    /// `infos`, one record per name.
    /// @param force  replace versions that are already there, and go on if there are conflicts.
    /// @return 0, kTemDamaged, kTemConflict, kTemNotStandard, or another failure.
    int set(const std::vector<std::string>& paths, bool force, std::vector<QXAPackageInfo>& infos);

    /// Rebuilds the caches (archives from which new containers are made) of OS templates. An empty
    /// list means every OS template, an empty version the newest.
    /// @return 0, kTemUnknownTemplate, kTemUnknownVersion, or another failure, for example if the
    ///         list has an application template.
    int cache(const std::vector<QXATemplate>& keys);

    /// Removes templates from the node; an empty version means all versions, an empty list removes
    /// nothing and gives 0. Does not look whether a container uses them: the caller does.
    /// @return 0, kTemUnknownTemplate, kTemUnknownVersion, kTemConflict (a remaining application
    ///         template would lose its last OS template), or another failure.
    int unset(const std::vector<QXATemplate>& keys);

private:
    QXL::QXLAccess m_access;
};

}  // namespace QXA
