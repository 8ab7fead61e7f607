// Packages of containers, from databases that the engines have made; and from hostile ones.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/support/real_packages.h"
#include "tests/unit/node/qxtt/qxtt_node.h"

namespace qxtt_test {
namespace {

namespace fs = std::filesystem;
using qx_test::install_debs;
using qx_test::install_rpms;
using qx_test::TempDir;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kVeid = 101;

const std::string& root() {
    static const std::string path = QxttNode::root_of(kVeid);
    return path;
}

void write_file(const std::string& path, const std::string& content) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path) << content;
}

std::string stanza(const std::string& name, const std::string& state = "install ok installed") {
    return "Package: " + name + "\nStatus: " + state +
           "\nMaintainer: a\nArchitecture: all\nVersion: 1\nDescription: text\n\n";
}

class QxttDebDatabase : public testing::Test {
protected:
    void SetUp() override {
        QX_SKIP_WITHOUT_TEST_NODE();
        QX_SKIP_WITHOUT_DEB();
        node_.os_template("debian", "deb");
        node_.container(kVeid, ".debian");
    }

    QxttNode node_;
    TempDir files_;
};

class QxttRpmDatabase : public testing::Test {
protected:
    void SetUp() override {
        QX_SKIP_WITHOUT_TEST_NODE();
        QX_SKIP_WITHOUT_RPM();
        node_.os_template("alma", "rpm");
        node_.container(kVeid, ".alma");
    }

    QxttNode node_;
    TempDir files_;
};

TEST_F(QxttDebDatabase, installedPackagesAreListedByName) {
    const std::vector<std::string> debs{
        qx_test::make_deb(files_, {.name = "zlib", .version = "1:1.2-3", .summary = "Packs"}),
        qx_test::make_deb(files_, {.name = "bash", .version = "5.2-1", .summary = "A\tshell"})};
    node_.run([&] {
        install_debs(root(), debs);
        const auto [code, listed] = ve_pkgs(kVeid, QXTT_MASK_LIST_SUMMARY);
        ASSERT_EQ(code, 0);
        EXPECT_THAT(listed, ElementsAre(Entry{"bash", "all", "5.2-1", "A\tshell"},
                                        Entry{"zlib", "all", "1:1.2-3", "Packs"}));
    });
}

TEST_F(QxttDebDatabase, summariesComeOnlyWhenTheMaskAsksForThem) {
    node_.run([] {
        write_file(root() + "/var/lib/dpkg/status", stanza("one"));
        EXPECT_EQ(ve_pkgs(kVeid, QXTT_MASK_LIST).value,
                  (std::vector<Entry>{{"one", "all", "1", std::nullopt}}));
    });
}

TEST_F(QxttDebDatabase, packagesThatAreGoneButForTheirConfigurationAreLeftOut) {
    node_.run([] {
        write_file(root() + "/var/lib/dpkg/status", stanza("gone", "deinstall ok config-files") +
                                                        stanza("held", "hold ok installed") +
                                                        stanza("half", "install ok unpacked"));
        EXPECT_THAT(names_of(ve_pkgs(kVeid).value), ElementsAre("half", "held"));
    });
}

TEST_F(QxttDebDatabase, aRootInWhichNothingWasInstalledHasNoPackages) {
    node_.run([] {
        fs::create_directories(root());
        const auto [code, listed] = ve_pkgs(kVeid);
        EXPECT_EQ(code, 0);
        EXPECT_THAT(listed, IsEmpty());
    });
}

TEST_F(QxttDebDatabase, anEmptyDatabaseHasNoPackages) {
    node_.run([] {
        write_file(root() + "/var/lib/dpkg/status", "");
        const auto [code, listed] = ve_pkgs(kVeid);
        EXPECT_EQ(code, 0);
        EXPECT_THAT(listed, IsEmpty());
    });
}

TEST_F(QxttDebDatabase, withoutItsTemplatesMetadataTheDatabaseThatIsThereIsListed) {
    node_.container(102, ".gone");
    node_.run([] {
        write_file(QxttNode::root_of(102) + "/var/lib/dpkg/status", stanza("one"));
        EXPECT_THAT(names_of(ve_pkgs(102).value), ElementsAre("one"));
    });
}

TEST_F(QxttDebDatabase, garbageIsACode) {
    node_.run([] {
        write_file(root() + "/var/lib/dpkg/status", std::string("\x1e\x1f\0\xff no fields", 14));
        EXPECT_EQ(ve_pkgs(kVeid).code, QXTT_E_BAD_DATABASE);
        write_file(root() + "/var/lib/dpkg/status", stanza("good") + "Package: \n\n");
        EXPECT_EQ(ve_pkgs(kVeid).code, QXTT_E_BAD_DATABASE);
    });
}

TEST_F(QxttDebDatabase, marksInsideATextDoNotForgeAPackage) {
    std::string text = stanza("one");
    text.replace(text.find("text"), 4,
                 "a\x1f"
                 "b\x1e"
                 "c");
    node_.run([&] {
        write_file(root() + "/var/lib/dpkg/status", text);
        EXPECT_THAT(names_of(ve_pkgs(kVeid).value), ElementsAre("one"));
    });
}

TEST_F(QxttDebDatabase, aLinkInsideTheRootIsFollowedAsTheContainerSeesIt) {
    node_.run([] {
        write_file(root() + "/srv/database/status", stanza("inside"));
        fs::create_directories(root() + "/var/lib");
        fs::create_directory_symlink("/srv/database", root() + "/var/lib/dpkg");
        EXPECT_THAT(names_of(ve_pkgs(kVeid).value), ElementsAre("inside"));
    });
}

TEST_F(QxttDebDatabase, aPlantedLinkNeverShowsAFileOfTheHost) {
    node_.run([] {
        write_file("/var/lib/qxagent/secret/status", stanza("secret"));
        fs::create_directories(root() + "/var/lib");
        const std::string database = root() + "/var/lib/dpkg";
        for (const char* target : {"/var/lib/qxagent/secret",
                                   "../../../../../../../../../../var/"
                                   "lib/qxagent/secret"}) {
            fs::create_directory_symlink(target, database);
            EXPECT_THAT(ve_pkgs(kVeid).value, IsEmpty()) << target;
            fs::remove(database);
        }
        fs::create_directory(database);
        fs::create_symlink("/var/lib/qxagent/secret/status", database + "/status");
        EXPECT_EQ(ve_pkgs(kVeid).code, QXTT_E_BAD_DATABASE);
    });
}

TEST_F(QxttDebDatabase, aPlantedFifoKeepsNobodyWaiting) {
    node_.run([] {
        fs::create_directories(root() + "/var/lib/dpkg/updates");
        ASSERT_EQ(mkfifo((root() + "/var/lib/dpkg/status").c_str(), 0644), 0);
        EXPECT_EQ(ve_pkgs(kVeid).code, QXTT_E_BAD_DATABASE);
        fs::remove(root() + "/var/lib/dpkg/status");
        write_file(root() + "/var/lib/dpkg/status", stanza("one"));
        ASSERT_EQ(mkfifo((root() + "/var/lib/dpkg/updates/0000").c_str(), 0644), 0);
        EXPECT_EQ(ve_pkgs(kVeid).code, QXTT_E_BAD_DATABASE);
    });
}

TEST_F(QxttDebDatabase, aMissingEngineIsACodeOfItsOwn) {
    const std::string programs = files_.make_dir("programs");
    node_.run([&] {
        write_file(root() + "/var/lib/dpkg/status", stanza("one"));
        ASSERT_EQ(setenv("PATH", programs.c_str(), 1), 0);
        EXPECT_EQ(ve_pkgs(kVeid).code, QXTT_E_ENGINE);
        fs::create_symlink("/usr/bin/timeout", programs + "/timeout");
        EXPECT_EQ(ve_pkgs(kVeid).code, QXTT_E_ENGINE);
        write_file(programs + "/prlimit", "#!/bin/sh\necho 'bwrap: No permissions' >&2\nexit 1\n");
        fs::permissions(programs + "/prlimit", fs::perms(0755));
        EXPECT_EQ(ve_pkgs(kVeid).code, QXTT_E_ENGINE);
    });
}

TEST_F(QxttDebDatabase, anEngineThatTakesTooLongIsStopped) {
    const std::string programs = files_.make_dir("programs");
    node_.run([&] {
        write_file(root() + "/var/lib/dpkg/status", stanza("one"));
        write_file(programs + "/timeout", "#!/bin/sh\nexit 124\n");
        fs::permissions(programs + "/timeout", fs::perms(0755));
        ASSERT_EQ(setenv("PATH", programs.c_str(), 1), 0);
        EXPECT_EQ(ve_pkgs(kVeid).code, QXTT_E_BAD_DATABASE);
    });
}

TEST_F(QxttDebDatabase, listingChangesNothingInTheRoot) {
    node_.run([] {
        write_file(root() + "/var/lib/dpkg/status", stanza("one"));
        ASSERT_EQ(ve_pkgs(kVeid).code, 0);
        EXPECT_EQ(std::distance(fs::recursive_directory_iterator(root()), {}), 4);
    });
}

TEST_F(QxttDebDatabase, aUserWhoMayReadTheNodeGetsTheList) {
    node_.run([&] {
        write_file(root() + "/var/lib/dpkg/status", stanza("one"));
        fs::permissions("/qx/private", fs::perms(0755));
    });
    node_.run_as(65534, [] { EXPECT_THAT(names_of(ve_pkgs(kVeid).value), ElementsAre("one")); });
}

TEST_F(QxttRpmDatabase, installedPackagesAreListedByName) {
    const std::vector<std::string> rpms{
        qx_test::make_rpm(files_, {.name = "zlib", .version = "1:1.2-3", .summary = "Packs"}),
        qx_test::make_rpm(files_, {.name = "bash", .version = "5.2-1", .summary = "A shell"})};
    node_.run([&] {
        install_rpms(root(), rpms);
        const auto [code, listed] = ve_pkgs(kVeid, QXTT_MASK_LIST_SUMMARY);
        ASSERT_EQ(code, 0);
        EXPECT_THAT(listed, ElementsAre(Entry{"bash", "noarch", "5.2-1", "A shell"},
                                        Entry{"zlib", "noarch", "1:1.2-3", "Packs"}));
    });
}

TEST_F(QxttRpmDatabase, aDatabaseOutOfAnArchiveIsListedToo) {
    const std::string rpm = qx_test::make_rpm(files_, {.name = "bash"});
    node_.run([&] {
        install_rpms(root(), {rpm});
        fs::remove(root() + "/var/lib/rpm/rpmdb.sqlite-shm");
        fs::remove(root() + "/var/lib/rpm/rpmdb.sqlite-wal");
        const auto files = std::distance(fs::recursive_directory_iterator(root()), {});
        EXPECT_THAT(names_of(ve_pkgs(kVeid).value), ElementsAre("bash"));
        EXPECT_EQ(std::distance(fs::recursive_directory_iterator(root()), {}), files);
    });
}

TEST_F(QxttRpmDatabase, whatAWriterHasNotMovedOutOfItsLogYetIsListed) {
    const std::string rpm = qx_test::make_rpm(files_, {.name = "bash"});
    node_.run([&] {
        install_rpms(root(), {rpm});
        sqlite3* writer = nullptr;
        const std::string file = root() + "/var/lib/rpm/rpmdb.sqlite";
        ASSERT_EQ(sqlite3_open(file.c_str(), &writer), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(writer, "INSERT INTO Packages(blob) SELECT blob FROM Packages",
                               nullptr, nullptr, nullptr),
                  SQLITE_OK);
        EXPECT_GT(fs::file_size(file + "-wal"), 0U);
        EXPECT_THAT(names_of(ve_pkgs(kVeid).value), ElementsAre("bash", "bash"));
        EXPECT_EQ(sqlite3_close(writer), SQLITE_OK);
    });
}

TEST_F(QxttRpmDatabase, aDatabaseBehindALinkInsideTheRootIsListed) {
    const std::string rpm = qx_test::make_rpm(files_, {.name = "bash"});
    node_.run([&] {
        install_rpms(root(), {rpm});
        fs::create_directories(root() + "/usr/lib/sysimage");
        fs::rename(root() + "/var/lib/rpm", root() + "/usr/lib/sysimage/rpm");
        fs::create_directory_symlink("../../usr/lib/sysimage/rpm", root() + "/var/lib/rpm");
        EXPECT_THAT(names_of(ve_pkgs(kVeid).value), ElementsAre("bash"));
    });
}

TEST_F(QxttRpmDatabase, aRootInWhichNothingWasInstalledHasNoPackages) {
    node_.run([] {
        fs::create_directories(root() + "/var/lib/rpm");
        const auto [code, listed] = ve_pkgs(kVeid);
        EXPECT_EQ(code, 0);
        EXPECT_THAT(listed, IsEmpty());
        EXPECT_TRUE(fs::is_empty(root() + "/var/lib/rpm"));
    });
}

TEST_F(QxttRpmDatabase, withoutItsTemplatesMetadataTheDatabaseThatIsThereIsListed) {
    const std::string rpm = qx_test::make_rpm(files_, {.name = "bash"});
    node_.container(102, ".gone");
    node_.run([&] {
        install_rpms(QxttNode::root_of(102), {rpm});
        EXPECT_THAT(names_of(ve_pkgs(102).value), ElementsAre("bash"));
    });
}

TEST_F(QxttRpmDatabase, garbageIsACode) {
    node_.run([] {
        write_file(root() + "/var/lib/rpm/rpmdb.sqlite", std::string(100000, 'x'));
        EXPECT_EQ(ve_pkgs(kVeid).code, QXTT_E_BAD_DATABASE);
        fs::remove(root() + "/var/lib/rpm/rpmdb.sqlite");
        write_file(root() + "/var/lib/rpm/Packages", std::string(100000, '\0'));
        EXPECT_EQ(ve_pkgs(kVeid).code, QXTT_E_BAD_DATABASE);
    });
}

TEST_F(QxttRpmDatabase, aDatabaseOfAnotherKindIsACode) {
    node_.run([] {
        write_file(root() + "/var/lib/rpm/Packages.db", std::string("RpmP", 4));
        EXPECT_EQ(ve_pkgs(kVeid).code, QXTT_E_BAD_DATABASE);
    });
}

TEST_F(QxttRpmDatabase, aPlantedLinkNeverShowsAFileOfTheHost) {
    const std::string rpm = qx_test::make_rpm(files_, {.name = "secret"});
    node_.run([&] {
        install_rpms("/var/lib/qxagent/secret", {rpm});
        fs::create_directories(root() + "/var/lib");
        const std::string database = root() + "/var/lib/rpm";
        fs::create_directory_symlink("/var/lib/qxagent/secret/var/lib/rpm", database);
        EXPECT_THAT(ve_pkgs(kVeid).value, IsEmpty());
        fs::remove(database);
        fs::create_directory(database);
        fs::create_symlink("/var/lib/qxagent/secret/var/lib/rpm/rpmdb.sqlite",
                           database + "/rpmdb.sqlite");
        EXPECT_EQ(ve_pkgs(kVeid).code, QXTT_E_BAD_DATABASE);
    });
}

TEST_F(QxttRpmDatabase, aPlantedFifoKeepsNobodyWaiting) {
    node_.run([] {
        fs::create_directories(root() + "/var/lib/rpm");
        ASSERT_EQ(mkfifo((root() + "/var/lib/rpm/rpmdb.sqlite").c_str(), 0644), 0);
        EXPECT_EQ(ve_pkgs(kVeid).code, QXTT_E_BAD_DATABASE);
    });
}

}  // namespace
}  // namespace qxtt_test
