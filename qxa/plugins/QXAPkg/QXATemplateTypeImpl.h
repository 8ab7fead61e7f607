// QXATemplateTypeImpl: what the package-manager front drives a template technology through.
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

/// Words of one command line, or file paths; the program's name comes first in a command line.
using exec_argument_type = std::vector<std::string>;

/// A technology holds no state between calls. Operations return 0 for success, and for packages
/// that are not theirs. `out` may be null and is only appended to. The order of the virtual
/// functions is part of the interface.
class QXATemplateTypeImpl {
public:
    QXATemplateTypeImpl() = default;
    QXATemplateTypeImpl(const QXATemplateTypeImpl&) = delete;
    QXATemplateTypeImpl& operator=(const QXATemplateTypeImpl&) = delete;
    virtual ~QXATemplateTypeImpl() = default;

    /// Node-wide; called for every such request of the front.
    virtual int clean(const QXL::QXLPackageList& pkgs) = 0;
    virtual int fetch(const QXL::QXLPackageList& pkgs) = 0;

    /// Appends a described record for each package of this technology.
    virtual int info(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs,
                     QXL::QXLPackageList* out) = 0;

    virtual int list(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs,
                     const QXL::QXLPackageManagerListOptions& opts, QXL::QXLPackageList* out) = 0;

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

    /// Returns 3511 when the collection is not of this technology.
    virtual int installOnNode(const QXL::QXLInstallationPackageList& pkgs,
                              const QXL::QXLPackageManagerOptions& opts,
                              QXL::QXLPackageList* out) = 0;

    /// Not served: -1.
    virtual int migrate(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs,
                        const QXL::QXLPackageManagerOptions& opts);

    /// True when this technology serves the container, which its OS template decides.
    virtual bool isVeCompatible(const QXL::QXLEID& eid, const QXAEnvConfig& config) = 0;

    /// True when the package may be installed, updated or removed inside a container served here.
    virtual bool doesPackageSuitForOperationsInsideVE(
        std::shared_ptr<const QXL::QXLPackage> pkg) const = 0;

    /// Resolves an EID. 0: a container of this node, whose configuration is in `config`; 410: the
    /// node, `config` untouched; 420, 317, 428: a failure, with a message.
    static int getVeConfig(const QXL::QXLEID& eid, QXAEnvConfig& config);

    /// Appends the file paths of the elements that have one, in order. @return `paths`.
    static exec_argument_type& getPathList(const QXL::QXLInstallationPackageList& pkgs,
                                           exec_argument_type& paths);
    static exec_argument_type getPathList(const QXL::QXLInstallationPackageList& pkgs);
};

/// A container belongs to the KR technology when the name of its OS template begins with a dot, and
/// to the standard one when not. Both ask here.
bool isKROsTemplateName(const std::string& name);

}  // namespace QXA
