// Defines the platform's polymorphic types and the functionality kit, once for all libraries of the
// process.
#include "QXA/QXALibFunctionality.h"
#include "QXA/QXAPackageQXTemplate.h"
#include "QXA/QXAPkgM.h"
#include "QXL/QXLAccessProvider.h"
#include "QXL/QXLEnv.h"
#include "QXL/QXLMessage.h"
#include "QXL/QXLPackage.h"
#include "QXL/QXLPkgM.h"

namespace QXL {

QXLAccessProviderPrototype::~QXLAccessProviderPrototype() = default;
QXLMessageIterator::~QXLMessageIterator() = default;
QXLPkgM::~QXLPkgM() = default;

QXLPackage::~QXLPackage() = default;
QXLPackageLinux::~QXLPackageLinux() = default;
QXLPackageRpm::~QXLPackageRpm() = default;
QXLPackageDeb::~QXLPackageDeb() = default;

QXLEnv::~QXLEnv() = default;
QXLEnvCache::~QXLEnvCache() = default;

const std::string QXLEnv::type = "node";

const QXLEnvConfig& QXLEnv::getConfig() const {
    return m_config;
}

template <>
QXA::QXALibFunctionality& QXLFunctionality<QXA::QXALibFunctionality>::kit() {
    static QXA::QXALibFunctionality theKit;
    return theKit;
}

}  // namespace QXL

namespace QXA {

QXAPkgM::~QXAPkgM() = default;
QXAPackageQXTemplate::~QXAPackageQXTemplate() = default;
QXAPackageQXTemplateStd::~QXAPackageQXTemplateStd() = default;

}  // namespace QXA
