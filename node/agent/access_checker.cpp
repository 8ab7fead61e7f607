// Checks the rights of a request's client: the user of this process, or the agent itself.
#include "QXL/QXLAccessChecker.h"

#include "QXL/QXLConfiguration.h"
#include "QXL/QXLEnv.h"
#include "QXL/QXLResult.h"
#include "node/agent/access_rules.h"
#include "node/agent/env_config_message.h"

namespace QXL {

namespace {

AccessTarget targetOf(const QXLEID& eid) {
    if (eid == QXLEID::EID_LOCAL || eid == QXLConfiguration::getLocalEID()) {
        return {true, {}, {}};
    }
    AccessTarget target{false, eid, {}};
    const auto cache = envCache();
    const auto env = cache ? cache->getEnvCopy(eid) : nullptr;
    if (env && env->getConfig().message()) {
        target.veid = env->getConfig().message()->veid;
    }
    return target;
}

}  // namespace

QXLAccessChecker QXLAccessChecker::getClientContext() {
    // Each client of this node has a process of its own with the agent library in it.
    return QXLAccessChecker(QXLToken());
}

int QXLAccessChecker::accessCheck(int right) const {
    return accessCheck(QXLConfiguration::getLocalEID(), right);
}

int QXLAccessChecker::accessCheck(const QXLEID& eid, int right) const {
    const Caller caller = Caller::ofProcess();
    if (m_client.isAgent() || caller.ownsNode) {
        return kPkgOk;
    }
    return AccessRules::load().allows(caller, targetOf(eid), right) ? kPkgOk : kPkgAccessDenied;
}

}  // namespace QXL
