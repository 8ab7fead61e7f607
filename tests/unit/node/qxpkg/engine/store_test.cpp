// What is kept for a place between requests.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "node/kr/packaging.h"
#include "node/qxpkg/container/intent.h"
#include "node/qxpkg/container/package_cache.h"
#include "node/qxpkg/engine/deb/engine.h"
#include "node/qxpkg/engine/repository_state.h"
#include "node/qxpkg/engine/rpm/engine.h"
#include "node/qxpkg/failure.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/node/qxpkg/engine/repositories.h"

namespace qxpkg {
namespace {

using qxpkg_test::folderRepository;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(PackageFile, theNameIsFoundInBothKindsOfFileNames) {
    EXPECT_EQ(debEngineKind().packageOfFile("lib-a_1.0-1_all.deb"), "lib-a");
    EXPECT_EQ(rpmEngineKind().packageOfFile("lib-a-1.0-1.noarch.rpm"), "lib-a");
    EXPECT_EQ(debEngineKind().packageOfFile("lock"), "");
}

TEST(PackageLists, aNameMayCarryItsArchitecture) {
    const PackageList packages = {{"a", "amd64", "1", true}, {"a", "i386", "1", true}};

    EXPECT_EQ(packagesNamed(packages, "a").size(), 2U);
    EXPECT_THAT(packagesNamed(packages, "a:i386"), ElementsAre(packages[1]));
}

TEST(PackageLists, packagesOfSeveralNamesComeInTheirOrder) {
    const PackageList packages = {{"a", "all", "1", true}, {"b", "all", "1", true}};

    EXPECT_THAT(packagesNamed(packages, std::vector<std::string>{"b", "nothing", "a"}),
                ElementsAre(packages[1], packages[0]));
}

TEST(PackageLists, theDifferenceSeesVersions) {
    const PackageList before = {{"a", "all", "1", true}, {"b", "all", "1", true}};
    const PackageList after = {{"a", "all", "2", true}, {"b", "all", "1", false}};

    EXPECT_THAT(difference(after, before), ElementsAre(after[0]));
}

TEST(PackageLists, namesAreEnumeratedOnceEach) {
    EXPECT_EQ(enumeration(std::vector<std::string>{"a", "b", "c"}), "'a', 'b' and 'c'");
    EXPECT_EQ(enumeration(PackageList{{"a", "x", "1", true}, {"a", "y", "1", true}}), "'a'");
}

class Stores : public ::testing::Test {
protected:
    void SetUp() override {
        m_place.root = m_folder.make_dir("root");
        m_place.store = m_folder.path("store");
        m_place.downloads = m_folder.path("fetched");
        m_place.packaging = qxnode::findPackaging("deb");
    }

    qx_test::TempDir m_folder;
    Place m_place;
};

TEST_F(Stores, aConfigurationHoldsItsFilesAndNoOthers) {
    prepareStore(m_place, {{"a", "1"}, {"sub/b", "2"}}, {"lists/partial"});
    prepareStore(m_place, {{"a", "3"}}, {});

    EXPECT_EQ(qx_test::read_file(m_place.configuration() + "/a"), "3");
    EXPECT_FALSE(std::filesystem::exists(m_place.configuration() + "/sub/b"));
    EXPECT_TRUE(std::filesystem::is_directory(m_place.work() + "/lists/partial"));
}

TEST_F(Stores, ownersInPackagesAreTheContainersAccounts) {
    m_folder.write("root/etc/passwd", "mail:x:8:8::/:\n");

    prepareStore(m_place, {}, {});

    EXPECT_EQ(qx_test::read_file(m_place.configuration() + "/passwd"), "mail:x:8:8::/:\n");
    EXPECT_EQ(qx_test::read_file(m_place.configuration() + "/group"), "root:x:0:\n");
}

TEST_F(Stores, aLinkWhereAnEngineWritesIsNotFollowed) {
    prepareStore(m_place, {}, {});
    m_folder.make_link("store/cache/lists", m_folder.make_dir("outside"));

    EXPECT_THROW(prepareStore(m_place, {}, {"lists/partial"}), Failure);
    EXPECT_TRUE(std::filesystem::is_empty(m_folder.path("outside")));
}

TEST_F(Stores, fetchedFilesGoWhereTheEngineLooksAndReplaceNothing) {
    prepareStore(m_place, {}, {"archives"});
    m_folder.write("fetched/cache/archives/a_1_all.deb", "new");
    m_folder.write("fetched/cache/archives/b_1_all.deb", "b");
    m_folder.write("fetched/cache/archives/lock", "");
    m_folder.write("store/cache/archives/a_1_all.deb", "old");

    seedDownloads(m_place);

    EXPECT_EQ(qx_test::read_file(m_place.work() + "/archives/a_1_all.deb"), "old");
    EXPECT_EQ(qx_test::read_file(m_place.work() + "/archives/b_1_all.deb"), "b");
    EXPECT_FALSE(std::filesystem::exists(m_place.work() + "/archives/lock"));
}

TEST_F(Stores, downloadsAreRemovedByThePackagesName) {
    m_folder.write("store/cache/archives/a_1_all.deb", "");
    m_folder.write("store/cache/dnf/x/packages/b-1-1.noarch.rpm", "");
    m_folder.write("store/cache/lists/list", "");

    EXPECT_EQ(removeDownloads(m_place.store, [](const std::string& name) { return name == "b"; }),
              1);
    EXPECT_EQ(removeDownloads(m_place.store, [](const std::string&) { return true; }), 1);
    EXPECT_TRUE(std::filesystem::exists(m_folder.path("store/cache/lists/list")));
}

TEST_F(Stores, theRecordOfIntentHoldsWhatWasInstalled) {
    prepareStore(m_place, {}, {});
    const PackageList installed = {{"a", "all", "1", true}, {"b", "all", "2:1-1", true}};

    writeIntent(m_place, installed);

    EXPECT_EQ(readIntent(m_place), installed);
    clearIntent(m_place);
    EXPECT_EQ(readIntent(m_place), std::nullopt);
}

TEST_F(Stores, aRecordOfIntentThatCannotBeReadIsNotTakenForNone) {
    prepareStore(m_place, {}, {});
    m_folder.make_dir("store/intent");

    EXPECT_THROW(readIntent(m_place), Failure);
}

TEST_F(Stores, aRecordOfNothingInstalledIsARecord) {
    prepareStore(m_place, {}, {});

    writeIntent(m_place, {});

    ASSERT_TRUE(readIntent(m_place).has_value());
    EXPECT_THAT(*readIntent(m_place), IsEmpty());
}

TEST_F(Stores, listsAreFreshUntilARepositoryChanges) {
    m_folder.write("repo/Packages", "");
    m_place.repositories = {folderRepository(m_folder.path("repo"))};
    prepareStore(m_place, {}, {});
    EXPECT_FALSE(listsAreFresh(m_place));

    rememberFreshLists(m_place);
    EXPECT_TRUE(listsAreFresh(m_place));

    m_folder.write("repo/Packages", "more");
    EXPECT_FALSE(listsAreFresh(m_place));
}

TEST_F(Stores, listsAreFreshUntilTheKeyOfARepositoryChanges) {
    m_folder.write("keys/archive.asc", "one");
    m_place.keys = m_folder.path("keys");
    m_place.repositories = {folderRepository(m_folder.path("repo"))};
    m_place.repositories[0].key = "archive.asc";
    prepareStore(m_place, {}, {});
    rememberFreshLists(m_place);
    EXPECT_TRUE(listsAreFresh(m_place));

    m_folder.write("keys/archive.asc", "another");
    EXPECT_FALSE(listsAreFresh(m_place));
}

TEST_F(Stores, forgottenListsAreNotFresh) {
    prepareStore(m_place, {}, {});
    rememberFreshLists(m_place);

    forgetFreshLists(m_place);

    EXPECT_FALSE(listsAreFresh(m_place));
}

TEST_F(Stores, folderThatIsALinkIsResolvedInsideTheRoot) {
    m_folder.make_dir("root/usr/lib/sysimage/rpm");
    m_folder.make_link("root/var/lib/rpm", "/usr/lib/sysimage/rpm");

    EXPECT_EQ(folderInRoot(m_place, "/var/lib/rpm"), "/usr/lib/sysimage/rpm");
}

TEST_F(Stores, aLinkToANameThatConfigurationsMisreadIsRefused) {
    for (const char* name : {"a\"; Evil \"b", "%(touch made)", "a\nb", "a b", "a;b", "a\\"}) {
        m_folder.make_dir("root/srv/" + std::string(name));
        std::filesystem::remove(m_place.root + "/var/lib/dpkg");
        m_folder.make_link("root/var/lib/dpkg", "/srv/" + std::string(name));

        EXPECT_THROW(folderInRoot(m_place, "/var/lib/dpkg"), Failure) << name;
    }
}

TEST_F(Stores, aFolderThatIsMissingIsMade) {
    EXPECT_EQ(folderInRoot(m_place, "/var/lib/dpkg"), "/var/lib/dpkg");
    EXPECT_TRUE(std::filesystem::is_directory(m_place.root + "/var/lib/dpkg"));
}

TEST_F(Stores, aMountPointThatIsALinkIsRefused) {
    prepareStore(m_place, {}, {});
    m_folder.make_link("root/proc", "/etc");

    EXPECT_THROW(confinementOf(m_place, false), Failure);
}

TEST(Places, anApplicationAddsItsSourcesOnce) {
    qxnode::KrManifest os;
    os.name = ".tiny";
    os.repositories = {folderRepository("/a")};
    qxnode::KrManifest application;
    application.repositories = {folderRepository("/a"), folderRepository("/b")};
    application.network = true;
    Place place = placeOf(os);

    addRepositories(place, application);

    EXPECT_EQ(place.repositories.size(), 2U);
    EXPECT_TRUE(place.scriptNetwork);
    EXPECT_EQ(place.downloads, "/var/lib/qxagent/qxpkg/fetch/tiny");
}

}  // namespace
}  // namespace qxpkg
