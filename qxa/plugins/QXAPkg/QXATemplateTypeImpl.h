// QXATemplateTypeImpl: the interface between the package-manager front and a template technology.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "QXA/QXAEnvConfig.h"
#include "QXL/QXLEID.h"
#include "QXL/QXLInstallationPackage.h"
#include "QXL/QXLPackage.h"
#include "QXL/QXLPackageManagerOptions.h"

namespace QXA {

/// The words of a command line, beginning with the program's name; or a list of file paths.
using exec_argument_type = std::vector<std::string>;

/// A technology keeps no state between calls. Operations return 0 on success, and also if no
/// package in the list is theirs. `out` may be null and is only appended to. The order of the
/// virtual functions is part of the interface.
class QXATemplateTypeImpl {
public:
    QXATemplateTypeImpl() = default;
    QXATemplateTypeImpl(const QXATemplateTypeImpl&) = delete;
    QXATemplateTypeImpl& operator=(const QXATemplateTypeImpl&) = delete;
    virtual ~QXATemplateTypeImpl() = default;

    /// Both work on the node's cache. The front calls every technology, also with an empty list,
    /// which means everything.
    virtual int clean(const QXL::QXLPackageList& pkgs) = 0;
    virtual int fetch(const QXL::QXLPackageList& pkgs) = 0;

    /// Appends a record with all fields for each package of this technology.
    virtual int info(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs,
                     QXL::QXLPackageList* out) = 0;

    /// Appends the packages of the node or a container; an empty list means all.
    virtual int list(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs,
                     const QXL::QXLPackageManagerListOptions& opts, QXL::QXLPackageList* out) = 0;

    /// An empty list removes nothing.
    virtual int removeFromVE(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs,
                             const QXL::QXLPackageManagerOptions& opts,
                             QXL::QXLPackageList* out) = 0;
    virtual int removeFromNode(const QXL::QXLPackageList& pkgs,
                               const QXL::QXLPackageManagerOptions& opts,
                               QXL::QXLPackageList* out) = 0;

    /// An empty list means everything.
    virtual int updateInVE(const QXL::QXLEID& eid, const QXL::QXLInstallationPackageList& pkgs,
                           const QXL::QXLPackageManagerOptions& opts, QXL::QXLPackageList* out) = 0;
    virtual int updateOnNode(const QXL::QXLInstallationPackageList& pkgs,
                             const QXL::QXLPackageManagerOptions& opts,
                             QXL::QXLPackageList* out) = 0;

    virtual int installIntoVE(const QXL::QXLEID& eid, const QXL::QXLInstallationPackageList& pkgs,
                              const QXL::QXLPackageManagerOptions& opts,
                              QXL::QXLPackageList* out) = 0;

    /// Returns 3511, before anything is changed, if the files are not of this technology.
    virtual int installOnNode(const QXL::QXLInstallationPackageList& pkgs,
                              const QXL::QXLPackageManagerOptions& opts,
                              QXL::QXLPackageList* out) = 0;

    /// Not supported: -1.
    virtual int migrate(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs,
                        const QXL::QXLPackageManagerOptions& opts);

    /// True if this technology serves the container; its OS template decides that.
    virtual bool isVeCompatible(const QXL::QXLEID& eid, const QXAEnvConfig& config) = 0;

    /// True if the package can be installed, updated or removed inside such a container.
    virtual bool doesPackageSuitForOperationsInsideVE(
        std::shared_ptr<const QXL::QXLPackage> pkg) const = 0;

    /// Resolves an EID. 0: a container of this node, and `config` has its configuration; 410: the
    /// node, and `config` is unchanged; 420, 317, 428: failures, with a message.
    static int getVeConfig(const QXL::QXLEID& eid, QXAEnvConfig& config);

    /// Appends the file paths of the elements that have one, in order. @return `paths`.
    static exec_argument_type& getPathList(const QXL::QXLInstallationPackageList& pkgs,
                                           exec_argument_type& paths);
    static exec_argument_type getPathList(const QXL::QXLInstallationPackageList& pkgs);
};

/// A container belongs to the KR technology if its OS template's name begins with a dot, else to
/// the standard technology.
bool isKROsTemplateName(const std::string& name);

}  // namespace QXA
