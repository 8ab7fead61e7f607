// The entry points: registered once per load, withdrawn for good.
#include <gtest/gtest.h>

#include <new>

#include "QXA/QXALibFunctionality.h"
#include "QXA/QXAPkgM.h"
#include "qxa/plugins/QXAPkg/QXAPkgMLocal.h"
#include "tests/fakes/fake_platform.h"

extern "C" {
int initQXAPkgMLocal();
int finiQXAPkgMLocal();
}

namespace QXA {
namespace {

auto& multiplexer() {
    return QXL::QXLFunctionality<QXALibFunctionality>::kit().getQXAPkgMMultiplexer();
}

// The registration flag is one per load, so its life is one story.
TEST(Registration, happensOnceAndIsNotTakenUpAgainAfterItWasWithdrawn) {
    fakes::FakePlatform platform;

    EXPECT_EQ(0, finiQXAPkgMLocal());
    EXPECT_EQ(nullptr, multiplexer().findLocalFactory("meridane"));

    platform.kitThrows = true;
    EXPECT_THROW(initQXAPkgMLocal(), std::bad_alloc);
    platform.kitThrows = false;
    EXPECT_EQ(nullptr, multiplexer().findLocalFactory("meridane"));

    // A call that failed has registered nothing, so the next one does it.
    EXPECT_EQ(0, initQXAPkgMLocal());
    const auto factory = multiplexer().findLocalFactory("meridane");
    ASSERT_NE(nullptr, factory);
    const auto manager = factory->createNew(nullptr);
    EXPECT_NE(nullptr, dynamic_cast<QXAPkgMLocal*>(manager.get()));
    EXPECT_NE(manager, factory->createNew(nullptr));

    platform.calls.clear();
    EXPECT_EQ(0, initQXAPkgMLocal());
    EXPECT_TRUE(platform.calls.empty()) << "the kit was touched again";
    EXPECT_EQ(factory, multiplexer().findLocalFactory("meridane"));

    EXPECT_EQ(0, finiQXAPkgMLocal());
    EXPECT_EQ(nullptr, multiplexer().findLocalFactory("meridane"));
    EXPECT_EQ(0, initQXAPkgMLocal());
    EXPECT_EQ(nullptr, multiplexer().findLocalFactory("meridane"));

    EXPECT_TRUE(platform.logLines.empty());
}

TEST(Multiplexer, keepsTheFirstFactoryOfAKey) {
    class Factory : public QXL::QXLFunctionalFactoryLocal<std::shared_ptr<QXAPkgM>> {
        std::shared_ptr<QXAPkgM> createNew(QXL::QXLAccess) override { return nullptr; }
    };
    QXALibFunctionality kit;
    auto& local = kit.getQXAPkgMMultiplexer();
    const auto first = std::make_shared<Factory>();
    EXPECT_EQ(0, local.registerLocalFactory(first, "key"));
    EXPECT_EQ(-1, local.registerLocalFactory(std::make_shared<Factory>(), "key"));
    EXPECT_EQ(first, local.findLocalFactory("key"));
    local.unregisterLocalFactory("absent");
    local.unregisterLocalFactory("key");
    EXPECT_EQ(nullptr, local.findLocalFactory("key"));
}

TEST(Factory, letsAFailedConstructionThrough) {
    class Unmakeable : public QXAPkgMLocal {
    public:
        explicit Unmakeable(QXL::QXLAccess access) : QXAPkgMLocal(std::move(access)) {
            throw std::bad_alloc();
        }
    };
    const fakes::FakePlatform platform;
    QXL::QXLFunctionalFactoryLocalImpl<QXAPkgM, Unmakeable> factory;
    EXPECT_THROW(factory.createNew(nullptr), std::bad_alloc);
}

TEST(Factory, keepsTheRequestsProviderForItsManager) {
    class Provider : public QXL::QXLAccessProviderPrototype {};
    const fakes::FakePlatform platform;
    const QXL::QXLAccess access(new Provider);
    QXL::QXLFunctionalFactoryLocalImpl<QXAPkgM, QXAPkgMLocal> factory;
    const auto manager = factory.createNew(access);
    EXPECT_EQ(access, dynamic_cast<QXAPkgMLocal&>(*manager).access());
}

}  // namespace
}  // namespace QXA
