// The standard template record: how it is built, what it goes with, how it is registered.
#include "qxa/plugins/QXAPkg/QXAStandardQXTemplateEx.h"

#include <gtest/gtest.h>

#include <typeinfo>

#include "tests/fakes/fake_messages.h"

namespace QXA {
namespace {

QXATemplateConfigInfo config() {
    QXATemplateConfigInfo info;
    info.name = "web";
    info.version = "2";
    info.summary = "a summary";
    info.description = "a description";
    info.platform = "Linux";
    info.architecture = "x86_64";
    info.technologies = {"nptl", "x86"};
    info.packageFlag = true;
    info.packages["b"].name = "httpd";
    info.packages["b"].version = "2.4";
    info.packages["a"].name = "apr";
    return info;
}

QXAPackageVersion version(bool os) {
    QXAPackageVersion made;
    made.version = "2";
    made.isOsTemplate = os;
    made.detail = "a detail";
    return made;
}

TEST(StandardRecord, isEmptyByDefaultWithItsPackageFlagSet) {
    const QXAStandardQXTemplateEx record;
    EXPECT_TRUE(record.packageFlag);
    EXPECT_FALSE(record.isOsTemplate);
    EXPECT_FALSE(record.versionFlag);
    EXPECT_EQ("", record.versionDetail);
    EXPECT_TRUE(record.baseOsTemplates.empty());
    EXPECT_TRUE(record.packages.empty());
    EXPECT_FALSE(record.os.platform.has_value());
}

TEST(StandardRecord, takesTextsFromTheConfigurationAndFlagsFromBoth) {
    auto info = config();
    info.packageFlag = false;
    info.isOsTemplate = false;
    auto listed = version(true);
    listed.packageFlag = true;
    listed.version = "as listed";
    listed.baseOsTemplates = {{"as listed", ""}};
    const QXAStandardQXTemplateEx record(info, listed);
    EXPECT_EQ("web", record.name);
    EXPECT_EQ("2", record.version);
    EXPECT_EQ("a summary", record.summary);
    EXPECT_EQ("a description", record.description);
    EXPECT_EQ("x86_64", record.architecture);
    EXPECT_EQ("Linux", record.os.platform);
    EXPECT_EQ((std::vector<std::string>{"nptl", "x86"}), record.getTechnologyList());
    EXPECT_FALSE(record.packageFlag);
    EXPECT_FALSE(record.isOsTemplate);
    EXPECT_TRUE(record.versionFlag);
    EXPECT_EQ("a detail", record.versionDetail);
    EXPECT_TRUE(record.baseOsTemplates.empty());
}

TEST(StandardRecord, withoutBaseOsLeavesItsOsUnset) {
    const QXAStandardQXTemplateEx record(config(), version(false));
    EXPECT_FALSE(record.os.osName.has_value());
    EXPECT_FALSE(record.os.osVersion.has_value());
    EXPECT_FALSE(record.os.extra.has_value());
}

TEST(StandardRecord, hasOneRecordPerBaseOsTemplateNamedAfterTheFirst) {
    auto info = config();
    info.baseOsTemplates = {{"centos", "5"}, {"fedora", ""}};
    const QXAStandardQXTemplateEx record(info, version(false));
    ASSERT_EQ(2U, record.baseOsTemplates.size());
    const auto& second = *record.baseOsTemplates[1];
    EXPECT_EQ("fedora", second.name);
    EXPECT_EQ("", second.version);
    EXPECT_EQ("x86_64", second.architecture);
    EXPECT_EQ("centos", second.os.osName);
    EXPECT_EQ("5", second.os.osVersion);
    EXPECT_EQ("Linux", second.os.platform);
    EXPECT_EQ("centos", record.os.osName);
    EXPECT_FALSE(record.os.osVersion.has_value());
}

TEST(StandardRecord, ofAnOsTemplateTakesNoOsNameFromABase) {
    auto info = config();
    info.isOsTemplate = true;
    info.baseOsTemplates = {{"centos", "5"}};
    const QXAStandardQXTemplateEx record(info, version(true));
    EXPECT_FALSE(record.os.osName.has_value());
}

TEST(StandardRecord, setsTextsThatTheConfigurationHasEmpty) {
    QXATemplateConfigInfo info;
    info.baseOsTemplates = {{"", ""}};
    info.packages["a"].name = "apr";
    const QXAStandardQXTemplateEx record(info, {});
    EXPECT_EQ("", record.os.platform);
    EXPECT_EQ("", record.os.osName);
    EXPECT_EQ("", record.packages[0]->os.osName);
    EXPECT_EQ("", record.packages[0]->os.osVersion);
    EXPECT_EQ("", record.packages[0]->os.platform);
    EXPECT_FALSE(record.packages[0]->os.extra.has_value());
}

TEST(StandardRecord, isCopiedAndAssignedInEveryField) {
    auto info = config();
    info.baseOsTemplates = {{"centos", "5"}};
    const QXAStandardQXTemplateEx record(info, version(true));
    QXAStandardQXTemplateEx assigned;
    assigned = record;
    for (const auto& copy : {QXAStandardQXTemplateEx(record), assigned}) {
        EXPECT_EQ(record.name, copy.name);
        EXPECT_EQ(record.os, copy.os);
        EXPECT_EQ(record.getTechnologyList(), copy.getTechnologyList());
        EXPECT_EQ(record.versionFlag, copy.versionFlag);
        EXPECT_EQ(record.baseOsTemplates, copy.baseOsTemplates);
        EXPECT_EQ(record.packages, copy.packages);
        EXPECT_EQ(record.versionDetail, copy.versionDetail);
    }
}

TEST(StandardRecord, hasItsPackagesInKeyOrderWithTheSummaryAsOsName) {
    const QXAStandardQXTemplateEx record(config(), version(false));
    ASSERT_EQ(2U, record.packages.size());
    EXPECT_EQ("apr", record.packages[0]->name);
    EXPECT_EQ("httpd", record.packages[1]->name);
    EXPECT_EQ("2.4", record.packages[1]->version);
    EXPECT_EQ("x86_64", record.packages[1]->architecture);
    EXPECT_EQ("a summary", record.packages[1]->os.osName);
    EXPECT_EQ("2", record.packages[1]->os.osVersion);
    EXPECT_EQ("Linux", record.packages[1]->os.platform);
}

TEST(StandardRecord, hasPlainRecordsOfNothingButKeysBesideIt) {
    auto info = config();
    info.baseOsTemplates = {{"centos", "5"}, {"fedora", ""}};
    const QXAStandardQXTemplateEx record(info, version(false));
    auto members = record.baseOsTemplates;
    members.insert(members.end(), record.packages.begin(), record.packages.end());
    ASSERT_EQ(4U, members.size());
    for (const auto& member : members) {
        EXPECT_TRUE(typeid(*member) == typeid(QXL::QXLPackage)) << member->name;
        EXPECT_EQ("", member->summary) << member->name;
        EXPECT_EQ("", member->description) << member->name;
        EXPECT_FALSE(member->os.extra.has_value()) << member->name;
    }
}

TEST(StandardRecord, namesItsPackagesOsAfterTheFirstBase) {
    auto info = config();
    info.baseOsTemplates = {{"centos", "5"}};
    const QXAStandardQXTemplateEx record(info, version(false));
    EXPECT_EQ("centos", record.packages[0]->os.osName);
    EXPECT_EQ("5", record.packages[0]->os.osVersion);
}

QXAStandardQXTemplateEx osTemplate(const std::string& name, const std::string& version,
                                   const std::string& platform = "Linux") {
    QXAStandardQXTemplateEx record;
    record.isOsTemplate = true;
    record.name = name;
    record.version = version;
    record.os.platform = platform;
    return record;
}

QXAStandardQXTemplateEx application(const std::string& name, const std::string& baseName,
                                    const std::string& baseVersion,
                                    const std::string& baseArchitecture = "") {
    QXAStandardQXTemplateEx record;
    record.name = name;
    record.os.platform = "linux";
    auto base = std::make_shared<QXL::QXLPackage>();
    base->name = baseName;
    base->version = baseVersion;
    base->architecture = baseArchitecture;
    record.baseOsTemplates = {base};
    return record;
}

bool bothWays(const QXAStandardQXTemplateEx& a, const QXAStandardQXTemplateEx& b) {
    EXPECT_EQ(a.compatible(b), b.compatible(a));
    return a.compatible(b);
}

TEST(Compatible, anApplicationGoesWithTheOsThatItIsMadeForWhateverThePlatformsCase) {
    EXPECT_TRUE(bothWays(osTemplate("centos-4", "1"), application("web", "centos-4", "")));
}

TEST(Compatible, anotherPlatformDoesNotGo) {
    EXPECT_FALSE(
        bothWays(osTemplate("centos-4", "1", "Windows"), application("web", "centos-4", "")));
}

TEST(Compatible, anUnsetPlatformIsAnEmptyOne) {
    auto os = osTemplate("centos-4", "1", "");
    auto app = application("web", "centos-4", "");
    app.os.platform.reset();
    EXPECT_TRUE(bothWays(os, app));
    os.os.platform = "linux";
    EXPECT_FALSE(bothWays(os, app));
}

TEST(Compatible, anotherPlatformKeepsTemplatesOfOneKindApartToo) {
    auto os = osTemplate("a", "1");
    os.setTechnologyList({"x86"});
    auto otherOs = os;
    otherOs.os.platform = "Windows";
    EXPECT_FALSE(bothWays(os, otherOs));
    auto app = application("web", "a", "");
    auto otherApp = app;
    otherApp.os.platform = "Windows";
    EXPECT_FALSE(bothWays(app, otherApp));
}

TEST(Compatible, architecturesOfOsTemplatesAreComparedExactly) {
    auto known = osTemplate("a", "1");
    known.setTechnologyList({"x86"});
    auto other = known;
    known.architecture = "x86_64";
    EXPECT_FALSE(bothWays(known, other)) << "an empty one is no joker here";
    other.architecture = "X86_64";
    EXPECT_FALSE(bothWays(known, other));
}

TEST(Compatible, aNullBaseIsPassedOver) {
    auto app = application("web", "centos-4", "");
    app.baseOsTemplates.insert(app.baseOsTemplates.begin(), nullptr);
    EXPECT_TRUE(bothWays(osTemplate("centos-4", "1"), app));
}

TEST(Compatible, aBaseVersionMustBeTheOsTemplates) {
    EXPECT_TRUE(bothWays(osTemplate("centos-4", "1"), application("web", "centos-4", "1")));
    EXPECT_FALSE(bothWays(osTemplate("centos-4", "2"), application("web", "centos-4", "1")));
}

TEST(Compatible, namesAreComparedWithTheirCase) {
    EXPECT_FALSE(bothWays(osTemplate("CentOS-4", "1"), application("web", "centos-4", "")));
}

TEST(Compatible, architecturesCountOnlyWhenBothAreKnown) {
    auto os = osTemplate("centos-4", "1");
    EXPECT_TRUE(bothWays(os, application("web", "centos-4", "", "x86_64")));
    os.architecture = "x86_64";
    EXPECT_TRUE(bothWays(os, application("web", "centos-4", "", "x86_64")));
    EXPECT_TRUE(bothWays(os, application("web", "centos-4", "")));
    EXPECT_FALSE(bothWays(os, application("web", "centos-4", "", "i386")));
    EXPECT_FALSE(bothWays(os, application("web", "centos-4", "", "X86_64")));
}

TEST(Compatible, anyBaseOsTemplateMayMatch) {
    auto app = application("web", "fedora", "");
    app.baseOsTemplates.push_back(application("x", "centos-4", "").baseOsTemplates[0]);
    EXPECT_TRUE(bothWays(osTemplate("centos-4", "1"), app));
}

bool osTemplatesWith(std::vector<std::string> a, std::vector<std::string> b) {
    auto first = osTemplate("centos-4", "1");
    auto second = osTemplate("centos-4", "2");
    first.setTechnologyList(std::move(a));
    second.setTechnologyList(std::move(b));
    return first.compatible(second);
}

TEST(Compatible, twoOsTemplatesOfOneNameNeedACommonTechnology) {
    EXPECT_TRUE(osTemplatesWith({"nptl"}, {"nptl", "x86"}));
    EXPECT_FALSE(osTemplatesWith({"nptl"}, {"x86"}));
    EXPECT_FALSE(osTemplatesWith({}, {"x86"}));
    EXPECT_FALSE(osTemplatesWith({"x86"}, {}));
}

TEST(Compatible, technologyListsAreTakenAsTheyAreNotSorted) {
    EXPECT_FALSE(osTemplatesWith({"b", "a"}, {"a", "c"}));
}

TEST(Compatible, twoOsTemplatesOfOtherNameOrArchitectureDoNotGo) {
    auto first = osTemplate("a", "1");
    auto second = osTemplate("b", "1");
    first.setTechnologyList({"x86"});
    second.setTechnologyList({"x86"});
    EXPECT_FALSE(first.compatible(second));
    second.name = "a";
    second.architecture = "i386";
    EXPECT_FALSE(first.compatible(second));
}

TEST(Compatible, twoApplicationsGoByNameAlone) {
    auto first = application("web", "centos-4", "");
    auto second = application("web", "fedora", "");
    second.version = "9";
    second.architecture = "i386";
    EXPECT_TRUE(bothWays(first, second));
    second.name = "db";
    EXPECT_FALSE(bothWays(first, second));
}

TEST(ParserFactory, isRegisteredUnderTheRecordsTypeAndIsNotTheDefault) {
    const auto data = QXL::QXLParserFactoryData<QXL::QXLPackage>::instance();
    const auto found = data->factories.find(typeid(QXAStandardQXTemplateEx).name());
    ASSERT_NE(data->factories.end(), found);
    EXPECT_EQ(&factoryQXAStandardQXTemplateEx, found->second);
    EXPECT_EQ(nullptr, data->defaultFactory);
}

TEST(ParserFactory, readsANewRecord) {
    fakes::FakeMessage message;
    message.name = "web";
    QXL::QXLPackage* out = nullptr;
    ASSERT_EQ(0, factoryQXAStandardQXTemplateEx.read(message, out));
    const std::unique_ptr<QXL::QXLPackage> owned(out);
    EXPECT_NE(nullptr, dynamic_cast<QXAStandardQXTemplateEx*>(out));
    EXPECT_EQ("web", out->name);
}

TEST(ParserFactory, aFailingReadGivesNoRecordAndLeavesItsOutput) {
    fakes::FakeMessage message;
    message.readResult = 7;
    QXL::QXLPackage before;
    QXL::QXLPackage* out = &before;
    EXPECT_EQ(-1, factoryQXAStandardQXTemplateEx.read(message, out));
    EXPECT_EQ(&before, out);
}

TEST(ParserFactory, writesARecordUnderItsTypeIdentifier) {
    fakes::FakeMessage message;
    QXAStandardQXTemplateEx record;
    record.name = "web";
    EXPECT_EQ(0, factoryQXAStandardQXTemplateEx.write(message, &record));
    EXPECT_EQ("web", message.name);
    EXPECT_EQ("package_std_qxtemplateType", message.type);
}

TEST(ParserFactory, failsWithItsWriter) {
    fakes::FakeMessage message;
    message.writeResult = -1;
    const QXAStandardQXTemplateEx record;
    EXPECT_NE(0, factoryQXAStandardQXTemplateEx.write(message, &record));
}

TEST(ParserFactory, refusesToWriteARecordOfAnotherClass) {
    fakes::FakeMessage message;
    const QXL::QXLPackageRpm record;
    EXPECT_EQ(-1, factoryQXAStandardQXTemplateEx.write(message, &record));
    EXPECT_EQ(-1, factoryQXAStandardQXTemplateEx.write(message, nullptr));
}

TEST(ParserFactory, makesADefaultRecord) {
    const auto object = factoryQXAStandardQXTemplateEx.createObject();
    EXPECT_NE(nullptr, std::dynamic_pointer_cast<QXAStandardQXTemplateEx>(object));
}

using OtherFactory =
    QXL::QXLDerivedParserFactory<QXAPackageQXTemplateStd, QXL::QXLPackage,
                                 QXAPackageQXTemplateStd::Reader, QXAPackageQXTemplateStd::Writer>;

TEST(ParserFactory, leavesTheFamilyWhenItGoes) {
    const auto data = QXL::QXLParserFactoryData<QXL::QXLPackage>::instance();
    {
        const OtherFactory factory(true, "here", 1);
        EXPECT_EQ(&factory, data->defaultFactory);
    }
    EXPECT_EQ(nullptr, data->defaultFactory);
    EXPECT_FALSE(data->factories.contains(typeid(QXAPackageQXTemplateStd).name()));
}

TEST(ParserFactory, ofAClassThatHasOneAlreadyChangesNothing) {
    const auto data = QXL::QXLParserFactoryData<QXL::QXLPackage>::instance();
    const OtherFactory first(true, "here", 1);
    {
        const OtherFactory second(true, "here", 2);
        EXPECT_EQ(&first, data->factories[typeid(QXAPackageQXTemplateStd).name()]);
        EXPECT_EQ(&first, data->defaultFactory);
    }
    EXPECT_EQ(&first, data->factories[typeid(QXAPackageQXTemplateStd).name()]);
    EXPECT_EQ(&first, data->defaultFactory);
}

TEST(ParserFactoryDeathTest, aSecondDefaultIsAnAssertionThatNamesItsPlace) {
    const auto data = QXL::QXLParserFactoryData<QXL::QXLPackage>::instance();
    auto* const before = data->defaultFactory;
    data->defaultFactory = &factoryQXAStandardQXTemplateEx;
    EXPECT_DEATH(OtherFactory(true, "qxa/plugins/QXAPkg/QXAStandardQXTemplateEx", 16),
                 "qxa/plugins/QXAPkg/QXAStandardQXTemplateEx:16: .*"
                 "this->m_factoryData->defaultFactory == __null");
    data->defaultFactory = before;
}

}  // namespace
}  // namespace QXA
