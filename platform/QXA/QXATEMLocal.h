// QXATEMLocal: the agent's template manager for standard templates of this node.
#pragma once

#include <string>
#include <vector>

#include "QXA/QXATemplate.h"
#include "QXL/Export.h"
#include "QXL/QXLAccessProvider.h"
#include "QXL/QXLEID.h"

namespace QXA {

/// Results of the template manager. Any other non-zero value is a failure whose reason is in
/// getErrorMessage().
enum TemResult : int {
    kTemOk = 0,
    kTemDamaged = -5,           ///< a file is damaged, unsafe, or lacks a prerequisite
    kTemConflict = -7,          ///< already there, in conflict or incompatible, without force
    kTemNotStandard = -27,      ///< a file is no standard template package
    kTemUnknownTemplate = -30,  ///< no such template
    kTemUnknownVersion = -51,   ///< no such version of the template
};

/// The plug-in makes a fresh object for each call. Lists are all-or-nothing: when a call fails,
/// nothing of its list was done, and lists to be filled are as before.
/// Calls that change something wait for each other; a lock that was not had in time is a failure
/// with QXL::kErrorLockTimeout in QXL::getLastErrorData().
class QXL_API QXATEMLocal {
public:
    /// Which templates ls() gives.
    enum pkgType : int {
        kOsTemplates = 1,
        kApplicationTemplates = 2,
        kAllTemplates = 3,
    };

    /// @param access the request's provider, may be null.
    explicit QXATEMLocal(QXL::QXLAccess access);
    ~QXATEMLocal();
    QXATEMLocal(const QXATEMLocal&) = delete;
    QXATEMLocal& operator=(const QXATEMLocal&) = delete;

    /// Templates of the node (EID_LOCAL or the node's EID) or of a container, appended to `infos`
    /// in the order of names, their versions in the order of versions, the newest last. A version
    /// whose manifest cannot be read is listed by its name alone. @return 0 or a failure.
    int ls(std::vector<QXAPackageInfo>& infos, const QXL::QXLEID& eid, pkgType type);

    /// One template of the node: with a version that version only, without one all of them.
    /// @return 0, kTemUnknownTemplate, kTemUnknownVersion, or a failure.
    int get(const QXATemplate& key, QXAPackageInfo& info);

    /// The configuration of one template version; an empty version means the newest.
    /// @return 0, kTemUnknownTemplate, kTemUnknownVersion, or another code when the manifest cannot
    ///         be read.
    int getTemplateConfig(const QXATemplate& key, QXATemplateConfigInfo& config);

    /// Adds templates to a container. An empty version means the newest; an empty list brings all
    /// of the container's templates up to date.
    /// @param force       go on over a version that is there already and over conflicts; files that
    ///                    the container has in a template's place are set aside until that goes.
    /// @param removeOnly  false on install and update.
    /// @return 0, kTemConflict, kTemUnknownTemplate, kTemUnknownVersion, or another failure.
    int add(const QXL::QXLEID& eid, const std::vector<QXATemplate>& keys, bool force,
            bool removeOnly);

    /// Removes templates from a container; an empty list removes nothing and gives 0.
    /// @param force       remove though another template of the container needs it.
    /// @param removeOnly  true on removal.
    /// @return 0, kTemConflict, kTemUnknownTemplate or kTemUnknownVersion (the container has no
    ///         such template, or another version of it), or another failure.
    int rm(const QXL::QXLEID& eid, const std::vector<QXATemplate>& keys, bool force,
           bool removeOnly);

    /// Installs template packages from files on the node; what was installed is appended to
    /// `infos`, one record a name.
    /// @param force  replace versions that are there already, and go on over conflicts.
    /// @return 0, kTemDamaged, kTemConflict, kTemNotStandard, or another failure.
    int set(const std::vector<std::string>& paths, bool force, std::vector<QXAPackageInfo>& infos);

    /// Renews the caches (archives that a new container starts from) of OS templates; an empty list
    /// means every OS template, an empty version the newest.
    /// @return 0, kTemUnknownTemplate, kTemUnknownVersion, or another failure, which an application
    ///         template in the list is, too.
    int cache(const std::vector<QXATemplate>& keys);

    /// Removes templates from the node; an empty version means all versions, an empty list removes
    /// nothing and gives 0.
    /// @return 0, kTemUnknownTemplate, kTemUnknownVersion, kTemConflict (an application template
    ///         that stays would lose the last of its OS templates), or another failure.
    int unset(const std::vector<QXATemplate>& keys);

private:
    QXL::QXLAccess m_access;
};

}  // namespace QXA
