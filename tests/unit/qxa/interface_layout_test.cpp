// The binary layout of the interfaces that other libraries call: slots of virtual functions.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "QXA/QXAPkgM.h"
#include "QXL/QXLFunctionalFactory.h"
#include "QXL/QXLPkgM.h"
#include "qxa/plugins/QXAPkg/QXAKRTemplateType.h"
#include "qxa/plugins/QXAPkg/QXAPackageListOptions.h"
#include "qxa/plugins/QXAPkg/QXAPkgMLocal.h"
#include "qxa/plugins/QXAPkg/QXAStandardTemplateType.h"

namespace QXA {
namespace {

/// The slot of a virtual function in its class's table. By the C++ ABI of this platform, a pointer
/// to it holds the slot's offset, plus one. Slots 0 and 1 are the two forms of the destructor.
template <typename Member>
std::ptrdiff_t slotOf(Member member) {
    std::ptrdiff_t words[2];
    static_assert(sizeof member == sizeof words);
    std::memcpy(words, &member, sizeof words);
    return words[0] % 2 == 1 ? (words[0] - 1) / static_cast<std::ptrdiff_t>(sizeof(void*)) : -1;
}

TEST(InterfaceLayout, ofPackageManagersIsInOrder) {
    using QXL::QXLPkgM;
    EXPECT_EQ(2, slotOf(&QXLPkgM::install));
    EXPECT_EQ(3, slotOf(&QXLPkgM::remove));
    EXPECT_EQ(4, slotOf(&QXLPkgM::update));
    EXPECT_EQ(5, slotOf(&QXLPkgM::list));
    EXPECT_EQ(6, slotOf(&QXLPkgM::clean));
    EXPECT_EQ(7, slotOf(&QXLPkgM::migrate));
    EXPECT_EQ(8, slotOf(&QXLPkgM::getInfo));
    EXPECT_EQ(9, slotOf(&QXLPkgM::fetch));
}

TEST(InterfaceLayout, ofFactoriesHasCreateNewAfterTheDestructor) {
    EXPECT_EQ(2, slotOf(&QXL::QXLFunctionalFactoryLocal<std::shared_ptr<QXAPkgM>>::createNew));
}

template <typename Technology>
void expectTechnologySlots() {
    EXPECT_EQ(2, slotOf(&Technology::clean));
    EXPECT_EQ(3, slotOf(&Technology::fetch));
    EXPECT_EQ(4, slotOf(&Technology::info));
    EXPECT_EQ(5, slotOf(&Technology::list));
    EXPECT_EQ(6, slotOf(&Technology::removeFromVE));
    EXPECT_EQ(7, slotOf(&Technology::removeFromNode));
    EXPECT_EQ(8, slotOf(&Technology::updateInVE));
    EXPECT_EQ(9, slotOf(&Technology::updateOnNode));
    EXPECT_EQ(10, slotOf(&Technology::installIntoVE));
    EXPECT_EQ(11, slotOf(&Technology::installOnNode));
    EXPECT_EQ(12, slotOf(&Technology::migrate));
    EXPECT_EQ(13, slotOf(&Technology::isVeCompatible));
    EXPECT_EQ(14, slotOf(&Technology::doesPackageSuitForOperationsInsideVE));
}

TEST(InterfaceLayout, ofTechnologiesIsInOrder) {
    expectTechnologySlots<QXATemplateTypeImpl>();
    expectTechnologySlots<QXAStandardTemplateImpl>();
    expectTechnologySlots<QXAKRTemplateImpl>();
}

TEST(InterfaceLayout, ofTechnologiesHoldsNoData) {
    EXPECT_EQ(sizeof(void*), sizeof(QXATemplateTypeImpl));
    EXPECT_EQ(sizeof(void*), sizeof(QXAStandardTemplateImpl));
    EXPECT_EQ(sizeof(void*), sizeof(QXAKRTemplateImpl));
}

TEST(InterfaceLayout, ofListOptionsIsThreeWords) {
    EXPECT_EQ(3 * sizeof(std::uint32_t), sizeof(QXAPackageListOptions));
}

TEST(InterfaceLayout, ofTheManagerShowsItAsThePrimaryBaseFirst) {
    QXAPkgMLocal manager(nullptr);
    auto* local = static_cast<QXL::QXLPkgMLocal*>(&manager);

    EXPECT_EQ(static_cast<void*>(&manager), static_cast<void*>(local));
}

}  // namespace
}  // namespace QXA
