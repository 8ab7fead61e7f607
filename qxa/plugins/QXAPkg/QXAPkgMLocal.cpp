// Dispatches package requests to the template technologies.
#include "qxa/plugins/QXAPkg/QXAPkgMLocal.h"

#include <algorithm>

#include "QXA/QXANotifications.h"
#include "QXL/QXLAccessChecker.h"
#include "QXL/QXLError.h"
#include "QXL/QXLResult.h"
#include "qxa/plugins/QXAPkg/QXAKRTemplateType.h"
#include "qxa/plugins/QXAPkg/QXAPackageText.h"
#include "qxa/plugins/QXAPkg/QXAPackagesCacheUpdate.h"
#include "qxa/plugins/QXAPkg/QXAStandardTemplateType.h"

namespace QXA {

namespace {

/// The target of a request: the node, or one container of it with its configuration.
class QXAPkgMOperand {
public:
    /// If the target cannot be resolved, the request's message has the reason.
    static QXAPkgMOperand getOperand(const QXL::QXLEID& eid) {
        QXAPkgMOperand operand;
        switch (QXATemplateTypeImpl::getVeConfig(eid, operand.m_config)) {
            case QXL::kEnvContainer:
                operand.m_state = kContainer;
                break;
            case QXL::kEnvIsNode:
                operand.m_state = kNode;
                break;
            default:
                break;
        }
        return operand;
    }

    [[nodiscard]] bool isLocalNode() const { return m_state == kNode; }
    bool operator!() const { return m_state == kUnresolved; }

    /// The container's configuration; valid only for a container.
    [[nodiscard]] const QXAEnvConfig& getVE() const { return m_config; }

    /// The container's number; 0 if the target is no container or has no number.
    [[nodiscard]] int getVEID() const {
        int veid = 0;
        return m_state == kContainer && m_config.getVeid(veid) == 0 ? veid : 0;
    }

private:
    enum State : std::int32_t { kUnresolved = 0, kContainer = 1, kNode = 2 };

    std::int32_t m_state = kUnresolved;
    QXAEnvConfig m_config;
};

/// The rights that an operation needs, on the node and in a container.
struct Rights {
    int node;
    int container;
};
constexpr Rights kManage{QXL::kRightManageNodePackages, QXL::kRightManageContainerPackages};
constexpr Rights kList{QXL::kRightListNodePackages, QXL::kRightListContainerPackages};

bool isAllowed(const QXAPkgMOperand& operand, const QXL::QXLEID& eid, const Rights& rights) {
    const auto client = QXL::QXLAccessChecker::getClientContext();
    return (operand.isLocalNode() ? client.accessCheck(rights.node)
                                  : client.accessCheck(eid, rights.container)) == 0;
}

/// Tells listeners that a container changed. Does nothing for the node or without a number.
void containerChanged(const QXAPkgMOperand& operand, const QXL::QXLAccess& access) {
    const int veid = operand.getVEID();
    if (veid > 0) {
        QXANotifications(QXL::QXLEID::EID_INVALID, access).sendCommandConfUpdate(veid);
    }
}

QXL::QXLPackageSP recordOf(const QXL::QXLPackageSP& package) {
    return package;
}

QXL::QXLPackageSP recordOf(const QXL::QXLInstallationPackageSP& package) {
    return package == nullptr ? nullptr : package->package;
}

/// The packages, in order, that the technology cannot use inside a container.
template <typename List>
List unsuitable(const QXATemplateTypeImpl& type, const List& pkgs) {
    List refused;
    std::copy_if(pkgs.begin(), pkgs.end(), std::back_inserter(refused), [&](const auto& package) {
        return !type.doesPackageSuitForOperationsInsideVE(recordOf(package));
    });
    return refused;
}

/// Refuses unsuitable packages and names them. The text says "installed" also for removals and
/// updates: agents look for it.
template <typename List>
bool refuseUnsuitable(const QXATemplateTypeImpl& type, const List& pkgs) {
    const auto refused = unsuitable(type, pkgs);
    if (refused.empty()) {
        return false;
    }
    QXL::setErrorMessage(
        "packages %s cannot even be installed into Container because they seem to be incompatible "
        "with the later OS template.",
        getStringFromPackageList(refused).c_str());
    return true;
}

bool refuseUnsuitableInstallation(const QXATemplateTypeImpl& type,
                                  const QXL::QXLInstallationPackageList& pkgs) {
    const auto refused = unsuitable(type, pkgs);
    if (refused.empty()) {
        return false;
    }
    QXL::setErrorMessage(
        "packages %s cannot be installed into Container because they seem to be incompatible with "
        "the later OS template.",
        getStringFromPackageList(refused).c_str());
    return true;
}

/// Resolves the target of an operation and checks the caller's right to it.
/// @param unresolved  the code for a target that cannot be resolved.
/// @return 0, or the code with which the operation ends.
int admit(const QXL::QXLEID& eid, const Rights& rights, int unresolved, QXAPkgMOperand& operand) {
    operand = QXAPkgMOperand::getOperand(eid);
    if (!operand) {
        return unresolved;
    }
    return isAllowed(operand, eid, rights) ? int{QXL::kPkgOk} : int{QXL::kPkgAccessDenied};
}

/// Asks every technology that serves the target. If one fails, the result is -1, not its own code.
template <typename Types, typename Ask>
int askEach(const Types& types, const QXL::QXLEID& eid, const Ask& ask) {
    QXAPkgMOperand operand;
    const int refused = admit(eid, kList, QXL::kPkgFailed, operand);
    if (refused != QXL::kPkgOk) {
        return refused;
    }
    for (const auto& type : types) {
        if ((operand.isLocalNode() || type->isVeCompatible(eid, operand.getVE())) &&
            ask(*type) != QXL::kPkgOk) {
            return QXL::kPkgFailed;
        }
    }
    return QXL::kPkgOk;
}

/// Lets every technology that serves the target change it; stops at the first failure.
/// @param unsuitableCode  the code if packages do not suit the container.
template <typename Types, typename List, typename OnNode, typename InVE>
int changeEach(const Types& types, const QXL::QXLEID& eid, const QXAPkgMOperand& operand,
               const List& pkgs, int unsuitableCode, const OnNode& onNode, const InVE& inVE) {
    int result = QXL::kPkgOk;
    for (const auto& type : types) {
        if (operand.isLocalNode()) {
            result = onNode(*type);
        } else if (type->isVeCompatible(eid, operand.getVE())) {
            result = refuseUnsuitable(*type, pkgs) ? unsuitableCode : inVE(*type);
        }
        if (result != QXL::kPkgOk) {
            break;
        }
    }
    return result;
}

}  // namespace

QXAPkgMLocal::QXAPkgMLocal(QXL::QXLAccess access) : QXL::QXLPkgMLocal(std::move(access)) {
    // The order is part of the interface: the first technology gets what both could take.
    m_types.push_back(std::make_shared<QXAKRTemplateImpl>());
    m_types.push_back(std::make_shared<QXAStandardTemplateImpl>());
}

int QXAPkgMLocal::install(const QXL::QXLEID& eid, const QXL::QXLInstallationPackageList& pkgs,
                          QXL::QXLPackageList* out, const QXL::QXLPackageManagerOptions& opts) {
    QXAPkgMOperand operand;
    const int refused = admit(eid, kManage, QXL::kPkgInstallFailed, operand);
    if (refused != QXL::kPkgOk) {
        return refused;
    }
    if (operand.isLocalNode()) {
        return installOnNode(pkgs, out, opts);
    }
    if (pkgs.empty()) {
        return QXL::kPkgOk;
    }
    // If no technology serves the container, nothing is installed and the request succeeds.
    int result = QXL::kPkgOk;
    const auto type = std::find_if(m_types.begin(), m_types.end(), [&](const TypeSP& candidate) {
        return candidate->isVeCompatible(eid, operand.getVE());
    });
    if (type != m_types.end()) {
        result = refuseUnsuitableInstallation(**type, pkgs)
                     ? int{QXL::kPkgUnknownCollection}
                     : (*type)->installIntoVE(eid, pkgs, opts, out);
    }
    if (result == QXL::kPkgOk) {
        containerChanged(operand, access());
    }
    return result;
}

int QXAPkgMLocal::installOnNode(const QXL::QXLInstallationPackageList& pkgs,
                                QXL::QXLPackageList* out,
                                const QXL::QXLPackageManagerOptions& opts) {
    for (const auto& type : m_types) {
        const int result = type->installOnNode(pkgs, opts, out);
        if (result == QXL::kPkgUnknownCollection) {
            continue;
        }
        // Even a failed installation may have changed the node.
        if (!pkgs.empty()) {
            nodeChanged();
        }
        return result;
    }
    QXL::setErrorMessage(
        "distributive collection contains either files of unsupported types or templates of "
        "different technologies");
    return QXL::kPkgUnknownCollection;
}

int QXAPkgMLocal::remove(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs,
                         QXL::QXLPackageList* out, const QXL::QXLPackageManagerOptions& opts) {
    QXAPkgMOperand operand;
    const int refused = admit(eid, kManage, QXL::kPkgFailed, operand);
    if (refused != QXL::kPkgOk) {
        return refused;
    }
    const int result = changeEach(
        m_types, eid, operand, pkgs, QXL::kPkgRemoveUnsuitable,
        [&](QXATemplateTypeImpl& type) { return type.removeFromNode(pkgs, opts, out); },
        [&](QXATemplateTypeImpl& type) { return type.removeFromVE(eid, pkgs, opts, out); });
    containerChanged(operand, access());
    if (operand.isLocalNode() && !pkgs.empty()) {
        nodeChanged();
    }
    return result;
}

int QXAPkgMLocal::update(const QXL::QXLEID& eid, const QXL::QXLInstallationPackageList& pkgs,
                         QXL::QXLPackageList* out, const QXL::QXLPackageManagerOptions& opts) {
    QXAPkgMOperand operand;
    const int refused = admit(eid, kManage, QXL::kPkgFailed, operand);
    if (refused != QXL::kPkgOk) {
        return refused;
    }
    const int result = changeEach(
        m_types, eid, operand, pkgs, QXL::kPkgUpdateUnsuitable,
        [&](QXATemplateTypeImpl& type) { return type.updateOnNode(pkgs, opts, out); },
        [&](QXATemplateTypeImpl& type) { return type.updateInVE(eid, pkgs, opts, out); });
    containerChanged(operand, access());
    // An empty list means everything, so the node may have changed even then.
    if (operand.isLocalNode()) {
        nodeChanged();
    }
    return result;
}

int QXAPkgMLocal::list(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs,
                       QXL::QXLPackageList* out, const QXL::QXLPackageManagerListOptions& opts) {
    return askEach(m_types, eid,
                   [&](QXATemplateTypeImpl& type) { return type.list(eid, pkgs, opts, out); });
}

int QXAPkgMLocal::getInfo(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs,
                          QXL::QXLPackageList* out) {
    return askEach(m_types, eid,
                   [&](QXATemplateTypeImpl& type) { return type.info(eid, pkgs, out); });
}

int QXAPkgMLocal::clean(const QXL::QXLPackageList& pkgs) {
    const auto client = QXL::QXLAccessChecker::getClientContext();
    if (client.accessCheck(QXL::kRightManageNodePackages) != 0) {
        return QXL::kPkgAccessDenied;
    }
    for (const auto& type : m_types) {
        if (type->clean(pkgs) != QXL::kPkgOk) {
            return QXL::kPkgFailed;
        }
    }
    if (!pkgs.empty()) {
        nodeChanged();
    }
    return QXL::kPkgOk;
}

int QXAPkgMLocal::fetch(const QXL::QXLPackageList& pkgs) {
    const auto client = QXL::QXLAccessChecker::getClientContext();
    if (client.accessCheck(QXL::kRightManageNodePackages) != 0) {
        return QXL::kPkgAccessDenied;
    }
    for (const auto& type : m_types) {
        if (type->fetch(pkgs) != QXL::kPkgOk) {
            return QXL::kPkgFailed;
        }
    }
    return QXL::kPkgOk;
}

void QXAPkgMLocal::nodeChanged() const {
    requestPackagesCacheUpdate(access(), QXL::QXLEID::EID_INVALID);
}

}  // namespace QXA
