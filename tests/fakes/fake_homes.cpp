// Homes of the platform's polymorphic types, its kit and its parser family, for test programs.
#include <new>

#include "QXA/QXALibFunctionality.h"
#include "QXA/QXAPackageMessages.h"
#include "QXA/QXAPackageQXTemplate.h"
#include "QXA/QXAPkgM.h"
#include "QXL/QXLAccessProvider.h"
#include "QXL/QXLEnv.h"
#include "QXL/QXLPkgMLocal.h"
#include "tests/fakes/fake_messages.h"
#include "tests/fakes/fake_platform.h"

namespace QXL {

QXLAccessProviderPrototype::~QXLAccessProviderPrototype() = default;
QXLMessageIterator::~QXLMessageIterator() = default;
QXLPkgM::~QXLPkgM() = default;
QXLPkgMLocal::~QXLPkgMLocal() = default;
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
    auto& platform = fakes::FakePlatform::current();
    platform.record("kit");
    if (platform.kitThrows) {
        throw std::bad_alloc();
    }
    return theKit;
}

template <>
std::shared_ptr<QXLParserFactoryData<QXLPackage>> QXLParserFactoryData<QXLPackage>::instance() {
    static const auto data = std::make_shared<QXLParserFactoryData<QXLPackage>>();
    return data;
}

}  // namespace QXL

namespace QXA {

QXAPkgM::~QXAPkgM() = default;
QXAPackageQXTemplate::~QXAPackageQXTemplate() = default;
QXAPackageQXTemplateStd::~QXAPackageQXTemplateStd() = default;

int QXAPackageQXTemplateStd::Reader::operator()(QXL::QXLMessageIterator& message,
                                                QXAPackageQXTemplateStd& out) const {
    const auto& fake = dynamic_cast<const fakes::FakeMessage&>(message);
    out.name = fake.name;
    return fake.readResult;
}

int QXAPackageQXTemplateStd::Writer::operator()(QXL::QXLMessageIterator& message,
                                                const QXAPackageQXTemplateStd& record) const {
    auto& fake = dynamic_cast<fakes::FakeMessage&>(message);
    fake.name = record.name;
    fake.type = QXAPackageQXTemplateStd::kMessageType;
    return fake.writeResult;
}

}  // namespace QXA
