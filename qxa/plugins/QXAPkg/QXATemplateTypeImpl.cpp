// The parts that all template technologies share.
#include "qxa/plugins/QXAPkg/QXATemplateTypeImpl.h"

#include "QXA/QXALibFunctionality.h"
#include "QXL/QXLConfiguration.h"
#include "QXL/QXLEnv.h"
#include "QXL/QXLError.h"
#include "QXL/QXLResult.h"

namespace QXA {

int QXATemplateTypeImpl::migrate(const QXL::QXLEID& /*eid*/, const QXL::QXLPackageList& /*pkgs*/,
                                 const QXL::QXLPackageManagerOptions& /*opts*/) {
    return QXL::kPkgFailed;
}

int QXATemplateTypeImpl::getVeConfig(const QXL::QXLEID& eid, QXAEnvConfig& config) {
    if (!eid.isValid() || eid == QXL::QXLEID::EID_LOCAL ||
        eid == QXL::QXLConfiguration::getLocalEID()) {
        return QXL::kEnvIsNode;
    }
    const auto cache = QXL::envCache();
    if (cache == nullptr) {
        QXL::setErrorMessage("the environment cache is not accessible");
        return QXL::kEnvNoCache;
    }
    const auto env = cache->getEnvCopy(eid);
    if (env == nullptr) {
        QXL::setErrorMessage("Unknown eid");
        return QXL::kEnvUnknown;
    }
    if (env->getParentEID() != QXL::QXLConfiguration::getLocalEID()) {
        QXL::setErrorMessage("not a local environment");
        return QXL::kEnvNotServed;
    }
    if (env->getType() != kTechnologyName) {
        QXL::setErrorMessage("non-QX environments are not supported");
        return QXL::kEnvNotServed;
    }
    config = QXAEnvConfig(env->getConfig());
    return QXL::kEnvContainer;
}

exec_argument_type& QXATemplateTypeImpl::getPathList(const QXL::QXLInstallationPackageList& pkgs,
                                                     exec_argument_type& paths) {
    for (const auto& pkg : pkgs) {
        if (pkg != nullptr && !pkg->path.empty()) {
            paths.push_back(pkg->path);
        }
    }
    return paths;
}

exec_argument_type QXATemplateTypeImpl::getPathList(const QXL::QXLInstallationPackageList& pkgs) {
    exec_argument_type paths;
    return getPathList(pkgs, paths);
}

bool isKROsTemplateName(const std::string& name) {
    return name.starts_with('.');
}

}  // namespace QXA
