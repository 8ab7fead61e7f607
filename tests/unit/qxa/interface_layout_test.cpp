// The binary layout of what other libraries share with this one: slots of virtual functions, fields
// of records; and the shape of the function objects.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>
#include <type_traits>

#include "QXA/QXALibFunctionality.h"
#include "QXA/QXAPackageQXTemplate.h"
#include "QXA/QXAPkgM.h"
#include "QXA/QXATemplate.h"
#include "QXL/QXLFunctionalFactory.h"
#include "QXL/QXLPkgM.h"
#include "qxa/plugins/QXAPkg/QXAKRSearchers.h"
#include "qxa/plugins/QXAPkg/QXAKRTemplateType.h"
#include "qxa/plugins/QXAPkg/QXAPackageInfoReader.h"
#include "qxa/plugins/QXAPkg/QXAPackageListOptions.h"
#include "qxa/plugins/QXAPkg/QXAPkgExec.h"
#include "qxa/plugins/QXAPkg/QXAPkgMLocal.h"
#include "qxa/plugins/QXAPkg/QXAStandardQXTemplateEx.h"
#include "qxa/plugins/QXAPkg/QXAStandardTemplateType.h"
#include "qxtt/qxtt.h"

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

/// Expects the addresses to rise.
template <std::size_t Count>
void expectInOrder(const void* const (&fields)[Count]) {
    for (std::size_t field = 1; field < Count; ++field) {
        EXPECT_LT(fields[field - 1], fields[field]) << "field " << field;
    }
}

TEST(InterfaceLayout, ofTheKitHasItsMultiplexersInOrder) {
    QXALibFunctionality kit;
    expectInOrder({&kit.getQXATEMMultiplexer(), &kit.getQXAEnvMMultiplexer(),
                   &kit.getQXAPkgMMultiplexer(), &kit.getQXAProcessMMultiplexer(),
                   &kit.getQXANetworkMMultiplexer(), &kit.getQXAProcessMonitorMultiplexer(),
                   &kit.getQXAUp2dateMultiplexer(), &kit.getQXASupportMultiplexer(),
                   &kit.getQXASampleMMultiplexer()});
}

TEST(InterfaceLayout, ofTheFactoryHoldsNoData) {
    EXPECT_EQ(sizeof(void*), sizeof(QXL::QXLFunctionalFactoryLocalImpl<QXAPkgM, QXAPkgMLocal>));
}

TEST(InterfaceLayout, ofOptionsBeginsWithTheFlagWord) {
    EXPECT_EQ(0U, offsetof(QXL::QXLPackageManagerOptions, flags));
}

// --- records of the template manager

TEST(RecordLayout, ofVersionsAndListedTemplatesIsInOrder) {
    const QXAPackageVersion version;
    expectInOrder({&version.version, &version.packageFlag, &version.isOsTemplate,
                   &version.baseOsTemplates, &version.detail});
    const QXAPackageInfo info;
    expectInOrder({&info.name, &info.vendor, &info.origin, &info.versions});
    const QXAPackage package;
    expectInOrder({&package.name, &package.version, &package.kind, &package.details});
}

TEST(RecordLayout, ofConfigurationsIsInOrder) {
    const QXATemplateConfigInfo config;
    expectInOrder({&config.version, &config.detail, &config.summary, &config.description,
                   &config.name, &config.properties, &config.packages, &config.platform,
                   &config.architecture, &config.technologies});
}

TEST(RecordLayout, ofStandardRecordsIsInOrder) {
    const QXAStandardQXTemplateEx record;
    expectInOrder({&record.getTechnologyList(), &record.packageFlag, &record.baseOsTemplates,
                   &record.packages, &record.versionDetail});
}

// --- records of the template tools library

constexpr std::size_t kField = sizeof(void*);

TEST(LibraryLayout, ofPackagesHasTheFieldsInTheirPlaces) {
    EXPECT_EQ(0 * kField, offsetof(pkg_info, name));
    EXPECT_EQ(1 * kField, offsetof(pkg_info, version));
    EXPECT_EQ(3 * kField, offsetof(pkg_info, architecture));
    EXPECT_EQ(4 * kField, offsetof(pkg_info, summary));
    EXPECT_EQ(5 * kField, offsetof(pkg_info, description));
}

TEST(LibraryLayout, ofTemplatesHasTheFieldsInTheirPlaces) {
    EXPECT_EQ(0 * kField, offsetof(tmpl_info, name));
    EXPECT_EQ(1 * kField, offsetof(tmpl_info, os_name));
    EXPECT_EQ(3 * kField, offsetof(tmpl_info, architecture));
    EXPECT_EQ(4 * kField, offsetof(tmpl_info, config_path));
    EXPECT_EQ(5 * kField, offsetof(tmpl_info, summary));
    EXPECT_EQ(6 * kField, offsetof(tmpl_info, description));
    EXPECT_EQ(7 * kField, offsetof(tmpl_info, base_packages));
    EXPECT_EQ(8 * kField, offsetof(tmpl_info, late_base_packages));
    EXPECT_EQ(9 * kField, offsetof(tmpl_info, packages));
    EXPECT_EQ(15 * kField, offsetof(tmpl_info, technologies));
    EXPECT_EQ(18 * kField, offsetof(tmpl_info, cached));
}

TEST(LibraryLayout, ofListEntriesHasTheFieldsInTheirPlaces) {
    EXPECT_EQ(0 * kField, offsetof(packageListEntry, name));
    EXPECT_EQ(1 * kField, offsetof(packageListEntry, architecture));
    EXPECT_EQ(2 * kField, offsetof(packageListEntry, version));
    EXPECT_EQ(3 * kField, offsetof(packageListEntry, summary));
    EXPECT_EQ(1 * kField, offsetof(templateListEntry, is_os));
    EXPECT_EQ(2 * kField, offsetof(templateListEntry, info));
}

// --- records and function objects of the KR technology

TEST(RecordLayout, ofTemplatesIsInOrder) {
    const QXAPackageQXTemplate record;
    expectInOrder({&record.isOsTemplate, &record.versionFlag, &record.detail, &record.status,
                   &record.members, &record.getTechnologyList()});
}

TEST(FunctionObjects, holdNoMoreThanTheyNeed) {
    EXPECT_EQ(sizeof(std::string), sizeof(PackageInfoReader));
    EXPECT_EQ(sizeof(std::string), sizeof(join));
    EXPECT_EQ(sizeof(bool), sizeof(KRTemplateSearcher));
    EXPECT_EQ(sizeof(void*), sizeof(QXLPkgLocalExecHelperT<QXLPkgLocalExecStub>));
    EXPECT_TRUE(std::is_empty_v<QXTemplateRemover>);
    EXPECT_TRUE(std::is_empty_v<PackageOsNameWriter>);
    EXPECT_TRUE(std::is_empty_v<QXLPkgLocalExecStub>);
}

TEST(FunctionObjects, areCalledWithoutBeingChanged) {
    using QXL::QXLPackageList;
    using QXL::QXLPackageSP;
    using Words = exec_argument_type;
    EXPECT_TRUE((std::is_invocable_r_v<int, const PackageInfoReader&, const QXLPackageSP&,
                                       QXLPackageList&>));
    EXPECT_TRUE((std::is_invocable_r_v<bool, const KRTemplateSearcher&, const QXLPackageSP&,
                                       const QXAPackageQXTemplate&>));
    EXPECT_TRUE((std::is_invocable_r_v<QXLPackageList*, const PackageRPMListReader&,
                                       QXLPackageList*, const QXLPackageSP&>));
    EXPECT_TRUE(
        (std::is_invocable_r_v<bool, const QXTemplateRemover&, const QXLPackageSP&, const Words&>));
    EXPECT_TRUE(
        (std::is_invocable_r_v<Words*, const PackageOsNameWriter&, Words*, const QXLPackageSP&>));
    EXPECT_TRUE((std::is_invocable_r_v<bool, const QXLPkgLocalExecStub&, const char*>));
}

}  // namespace
}  // namespace QXA
