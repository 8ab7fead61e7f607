// Adding templates to a container and removing them again.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tests/unit/node/tem_node.h"

namespace {

using tem_test::appManifest;
using tem_test::Node;
using tem_test::osManifest;
using tem_test::Outcome;
using tem_test::Package;
using testing::HasSubstr;
using testing::Not;

namespace fs = std::filesystem;

class TemArea : public testing::Test {
protected:
    void SetUp() override {
        QX_SKIP_WITHOUT_NODE();
        node.installOs();
        node.installApp();
        node.makeContainer();
    }

    void install(const std::string& name, const Package& package) {
        const Outcome outcome = node.set({node.package(name, package)});
        ASSERT_EQ(outcome.code, 0) << outcome.message;
    }

    void write(const std::string& name, const std::string& content) {
        fs::create_directories(fs::path(node.area("root/" + name)).parent_path());
        std::ofstream(node.area("root/" + name)) << content;
    }

    std::string read(const std::string& name) { return node.read(name); }

    std::string root() { return Node::tree(node.area("root")); }
    std::string config() { return qx_test::read_file(node.configPath()); }

    Node node;
};

TEST_F(TemArea, RegularFilesBecomeShortcutsWhereNothingIsIndexed) {
    fs::remove(node.area("VERSION"));
    const Outcome outcome = node.add({{"os", "1"}, {"app", "1"}});
    ASSERT_EQ(outcome.code, 0) << outcome.message;
    EXPECT_EQ(read("usr/bin/app"), "////app/1/root/usr/bin/app");
    struct stat st {};
    ASSERT_EQ(lstat(node.area("root/usr/bin/app").c_str(), &st), 0);
    EXPECT_TRUE(S_ISREG(st.st_mode));
    EXPECT_EQ(st.st_mode & 07777, 01755U);
    EXPECT_EQ(st.st_mtime, 1'000'000'000);
}

TEST_F(TemArea, DirectoriesAndLinksAreCopied) {
    ASSERT_EQ(node.add({{"os", ""}, {"app", ""}}).code, 0);
    struct stat st {};
    ASSERT_EQ(lstat(node.area("root/usr/bin").c_str(), &st), 0);
    EXPECT_TRUE(S_ISDIR(st.st_mode));
    EXPECT_EQ(st.st_mode & 07777, 04751U);
    EXPECT_EQ(fs::read_symlink(node.area("root/usr/bin/alias")), "app");
}

TEST_F(TemArea, IsRecordedInTheConfigurationAndListed) {
    node.makeContainer("OTHER=\"kept\"\n");
    ASSERT_EQ(node.add({{"os", ""}, {"app", "1"}}).code, 0);
    EXPECT_THAT(config(), HasSubstr("OSTEMPLATE=\"os/1\"\n"));
    EXPECT_THAT(config(), HasSubstr("TEMPLATES=\"app/1\"\n"));
    EXPECT_THAT(config(), HasSubstr("OTHER=\"kept\"\n"));
    EXPECT_EQ(node.lsContainer().text, "app/1:app os/1:os");
}

TEST_F(TemArea, RemovalLeavesTheAreaAsItWas) {
    write("etc/own", "mine");
    const std::string before = root();
    const std::string configBefore = config();
    ASSERT_EQ(node.add({{"os", ""}, {"app", ""}}).code, 0);
    EXPECT_NE(root(), before);
    const Outcome outcome = node.rm({{"app", ""}, {"os", "1"}});
    ASSERT_EQ(outcome.code, 0) << outcome.message;
    EXPECT_EQ(root(), before);
    EXPECT_EQ(config(), configBefore);
    EXPECT_TRUE(fs::is_empty(node.area(".qxtemplates/saved")));
}

TEST_F(TemArea, RemovalOfOneLeavesTheOther) {
    ASSERT_EQ(node.add({{"os", ""}}).code, 0);
    const std::string withOs = root();
    ASSERT_EQ(node.add({{"app", ""}}).code, 0);
    ASSERT_EQ(node.rm({{"app", ""}}).code, 0);
    EXPECT_EQ(root(), withOs);
}

TEST_F(TemArea, SharedDirectoriesGoWithTheLastTemplate) {
    install(
        "b.tar",
        Package().manifest(appManifest("b", "1")).directory("root/opt").file("root/opt/b", "b"));
    install(
        "a.tar",
        Package().manifest(appManifest("a", "1")).directory("root/opt").file("root/opt/a", "a"));
    const std::string before = root();
    ASSERT_EQ(node.add({{"a", ""}}).code, 0);
    ASSERT_EQ(node.add({{"b", ""}}).code, 0);
    ASSERT_EQ(node.rm({{"a", ""}}).code, 0);
    EXPECT_TRUE(node.holds("opt/b"));
    ASSERT_EQ(node.rm({{"b", ""}}).code, 0);
    EXPECT_EQ(root(), before);
}

TEST_F(TemArea, FilesOfTheContainerAreKept) {
    write("etc/release", "own");
    ASSERT_EQ(node.add({{"os", ""}}).code, 0);
    EXPECT_EQ(read("etc/release"), "own");
    ASSERT_EQ(node.rm({{"os", ""}}).code, 0);
    EXPECT_EQ(read("etc/release"), "own");
    EXPECT_THAT(qx_test::read_file(node.path() + "/var/lib/qxagent/agent.log"),
                HasSubstr("keeps its own '/etc/release'"));
}

TEST_F(TemArea, ForceReplacesFilesAndRemovalGivesThemBack) {
    write("etc/release", "own");
    const std::string before = root();
    ASSERT_EQ(node.add({{"os", ""}}, true).code, 0);
    EXPECT_EQ(read("etc/release"), "////os/1/root/etc/release");
    ASSERT_EQ(node.rm({{"os", ""}}).code, 0);
    EXPECT_EQ(root(), before);
}

TEST_F(TemArea, SavedFilesSurviveAnUpdate) {
    write("etc/release", "own");
    const std::string before = root();
    ASSERT_EQ(node.add({{"os", ""}}, true).code, 0);
    node.installOs("2");
    ASSERT_EQ(node.add({}).code, 0);
    EXPECT_EQ(read("etc/release"), "////os/2/root/etc/release");
    ASSERT_EQ(node.rm({{"os", ""}}).code, 0);
    EXPECT_EQ(root(), before);
}

TEST_F(TemArea, RemovalLeavesWhatTheContainerChanged) {
    ASSERT_EQ(node.add({{"os", ""}, {"app", ""}}).code, 0);
    fs::remove(node.area("root/usr/bin/app"));
    write("usr/bin/app", "changed");
    write("etc/app.conf", "////app/1/root/etc/app.conf");
    chmod(node.area("root/etc/app.conf").c_str(), 01600);
    ASSERT_EQ(node.rm({{"app", ""}}).code, 0);
    EXPECT_EQ(read("usr/bin/app"), "changed");
    EXPECT_TRUE(node.holds("etc/app.conf"));
    EXPECT_FALSE(node.holds("usr/bin/alias"));
}

TEST_F(TemArea, LinksOfTheContainerAreNeverFollowed) {
    fs::create_directories(node.file("outside/bin"));
    fs::create_directory_symlink(node.file("outside"), node.area("root/usr"));
    ASSERT_EQ(node.add({{"os", ""}, {"app", ""}}).code, 0);
    EXPECT_TRUE(fs::is_empty(node.file("outside/bin")));
    EXPECT_TRUE(fs::is_symlink(node.area("root/usr")));
    ASSERT_EQ(node.rm({{"app", ""}}).code, 0);
}

TEST_F(TemArea, LinkPlantedAfterAddIsNotFollowedByRm) {
    ASSERT_EQ(node.add({{"os", ""}, {"app", ""}}).code, 0);
    fs::create_directories(node.file("outside"));
    fs::copy(node.area("root/usr/bin"), node.file("outside/bin"), fs::copy_options::copy_symlinks);
    fs::remove_all(node.area("root/usr"));
    fs::create_directory_symlink(node.file("outside"), node.area("root/usr"));
    const std::string before = Node::tree(node.file("outside"));
    ASSERT_EQ(node.rm({{"app", ""}}).code, 0);
    EXPECT_EQ(Node::tree(node.file("outside")), before);
    EXPECT_TRUE(fs::is_symlink(node.area("root/usr")));
}

TEST_F(TemArea, RootThatIsALinkIsRefused) {
    fs::remove_all(node.area("root"));
    fs::create_directories(node.file("outside"));
    fs::create_directory_symlink(node.file("outside"), node.area("root"));
    EXPECT_NE(node.add({{"os", ""}}).code, 0);
    EXPECT_TRUE(fs::is_empty(node.file("outside")));
}

TEST_F(TemArea, UpdateReplacesTheOldVersion) {
    ASSERT_EQ(node.add({{"os", "1"}, {"app", "1"}}).code, 0);
    node.installApp("2");
    const Outcome outcome = node.add({{"app", ""}});
    ASSERT_EQ(outcome.code, 0) << outcome.message;
    EXPECT_EQ(read("usr/bin/app"), "////app/2/root/usr/bin/app");
    EXPECT_FALSE(node.holds("usr/bin/only-1"));
    EXPECT_TRUE(node.holds("usr/bin/only-2"));
    EXPECT_THAT(config(), HasSubstr("TEMPLATES=\"app/2\"\n"));
    EXPECT_FALSE(fs::exists(node.area(".qxtemplates/app@1")));
}

TEST_F(TemArea, EmptyListBringsEverythingUpToDate) {
    ASSERT_EQ(node.add({{"os", "1"}, {"app", "1"}}).code, 0);
    node.installOs("2");
    node.installApp("10");
    ASSERT_EQ(node.add({}).code, 0);
    EXPECT_THAT(config(), HasSubstr("OSTEMPLATE=\"os/2\"\n"));
    EXPECT_THAT(config(), HasSubstr("TEMPLATES=\"app/10\"\n"));
    const std::string before = root();
    ASSERT_EQ(node.add({}).code, 0);
    EXPECT_EQ(root(), before);
}

TEST_F(TemArea, EmptyListInAnEmptyContainerDoesNothing) {
    const std::string before = root();
    EXPECT_EQ(node.add({}).code, 0);
    EXPECT_EQ(root(), before);
}

TEST_F(TemArea, SameVersionAgainNeedsForce) {
    ASSERT_EQ(node.add({{"os", "1"}}).code, 0);
    const Outcome refused = node.add({{"os", "1"}});
    EXPECT_EQ(refused.code, QXA::kTemConflict);
    EXPECT_THAT(refused.message, HasSubstr("template 'os/1' is in the container already"));
    fs::remove(node.area("root/etc/release"));
    ASSERT_EQ(node.add({{"os", "1"}}, true).code, 0);
    EXPECT_TRUE(node.holds("etc/release"));
}

TEST_F(TemArea, ForceReplacesWhatTheContainerChangedAndRemovalGivesItBack) {
    ASSERT_EQ(node.add({{"os", "1"}}).code, 0);
    fs::remove(node.area("root/etc/release"));
    write("etc/release", "changed");
    ASSERT_EQ(node.add({{"os", "1"}}).code, QXA::kTemConflict);
    ASSERT_EQ(node.add({{"os", "1"}}, true).code, 0);
    EXPECT_EQ(read("etc/release"), "////os/1/root/etc/release");
    ASSERT_EQ(node.rm({{"os", ""}}).code, 0);
    EXPECT_EQ(read("etc/release"), "changed");
}

TEST_F(TemArea, VersionMayEndAsAFileBesideDoes) {
    install("new.tar", Package().manifest(appManifest("app", "2.new")).file("root/beta", "b"));
    ASSERT_EQ(node.add({{"os", "1"}}).code, 0);
    const std::string before = root();
    ASSERT_EQ(node.add({{"app", "2.new"}}).code, 0);
    ASSERT_EQ(node.rm({{"app", ""}}).code, 0);
    EXPECT_EQ(root(), before);
}

TEST_F(TemArea, OfContainersWithOneEidTheSmallestNumberCounts) {
    for (int veid = 60; veid < 101; ++veid) {
        fs::copy_file(node.configPath(),
                      fs::path(node.configPath()).parent_path() / (std::to_string(veid) + ".conf"));
    }
    fs::create_directories(node.path() + "/qx/private/60");
    ASSERT_EQ(node.add({{"os", "1"}}).code, 0);
    EXPECT_TRUE(fs::exists(node.path() + "/qx/private/60/root/etc/release"));
}

TEST_F(TemArea, OlderVersionNeedsForce) {
    node.installOs("2");
    ASSERT_EQ(node.add({{"os", "2"}}).code, 0);
    EXPECT_EQ(node.add({{"os", "1"}}).code, QXA::kTemConflict);
    EXPECT_EQ(node.add({{"os", "1"}}, true).code, 0);
    EXPECT_THAT(config(), HasSubstr("OSTEMPLATE=\"os/1\"\n"));
}

TEST_F(TemArea, NewestIsByNumberNotByLetter) {
    node.installOs("9");
    node.installOs("10");
    ASSERT_EQ(node.add({{"os", ""}}).code, 0);
    EXPECT_THAT(config(), HasSubstr("OSTEMPLATE=\"os/10\"\n"));
}

TEST_F(TemArea, UnknownTemplatesAndVersionsHaveTheirCodes) {
    EXPECT_EQ(node.add({{"nothing", ""}}).code, QXA::kTemUnknownTemplate);
    EXPECT_EQ(node.add({{"os", "7"}}).code, QXA::kTemUnknownVersion);
    EXPECT_EQ(node.rm({{"os", ""}}).code, QXA::kTemUnknownTemplate);
    ASSERT_EQ(node.add({{"os", "1"}}).code, 0);
    EXPECT_EQ(node.rm({{"os", "7"}}).code, QXA::kTemUnknownVersion);
}

TEST_F(TemArea, ApplicationNeedsItsOsTemplateInTheContainer) {
    const std::string before = root();
    const Outcome outcome = node.add({{"app", ""}});
    EXPECT_EQ(outcome.code, QXA::kTemConflict);
    EXPECT_THAT(outcome.message, HasSubstr("is not made for the container's OS template"));
    EXPECT_EQ(root(), before);
    EXPECT_EQ(node.add({{"app", ""}}, true).code, 0);
}

TEST_F(TemArea, SecondOsTemplateNeedsForce) {
    install("o.tar", Package().manifest(osManifest("other", "1")).file("root/o", "o"));
    ASSERT_EQ(node.add({{"os", ""}}).code, 0);
    EXPECT_EQ(node.add({{"other", ""}}).code, QXA::kTemConflict);
    EXPECT_EQ(node.add({{"other", ""}}, true).code, 0);
    EXPECT_FALSE(node.holds("etc/release"));
    EXPECT_TRUE(node.holds("o"));
}

TEST_F(TemArea, TwoOsTemplatesInOneListAreAConflict) {
    install("o.tar", Package().manifest(osManifest("other", "1")));
    EXPECT_EQ(node.add({{"os", ""}, {"other", ""}}, true).code, QXA::kTemConflict);
}

TEST_F(TemArea, ConflictsOfTemplatesNeedForce) {
    install("x.tar", Package().manifest(appManifest("x", "1", "conflicts = [{name = \"y\"}]\n")));
    install("y.tar", Package().manifest(appManifest("y", "1")));
    ASSERT_EQ(node.add({{"x", ""}}).code, 0);
    const Outcome outcome = node.add({{"y", ""}});
    EXPECT_EQ(outcome.code, QXA::kTemConflict);
    EXPECT_THAT(outcome.message, HasSubstr("'y/1' is in conflict with 'x/1'"));
    EXPECT_EQ(node.add({{"y", ""}}, true).code, 0);
}

TEST_F(TemArea, NeededOsTemplateStaysWithoutForce) {
    ASSERT_EQ(node.add({{"os", ""}, {"app", ""}}).code, 0);
    const Outcome outcome = node.rm({{"os", ""}});
    EXPECT_EQ(outcome.code, QXA::kTemConflict);
    EXPECT_THAT(outcome.message, HasSubstr("OS template 'os/1' is needed by 'app/1'"));
    EXPECT_EQ(node.rm({{"os", ""}}, true).code, 0);
}

TEST_F(TemArea, EmptyRemovalDoesNothing) {
    EXPECT_EQ(node.rm({}).code, 0);
}

TEST_F(TemArea, ContainerOfTheOtherTechnologyIsRefused) {
    node.makeContainer("OSTEMPLATE=\".kr\"\n");
    EXPECT_EQ(node.add({{"os", ""}}).code, QXA::kTemConflict);
    EXPECT_EQ(node.lsContainer().text, "");
}

TEST_F(TemArea, UnknownContainerFails) {
    fs::remove(node.configPath());
    const Outcome outcome = node.add({{"os", ""}});
    EXPECT_NE(outcome.code, 0);
    EXPECT_THAT(outcome.message, HasSubstr("no container has the EID"));
    EXPECT_NE(node.lsContainer().code, 0);
}

TEST_F(TemArea, NamesWithAnyByteSurvive) {
    const std::string odd = "od\n d%\xff\t-";
    install("odd.tar", Package().manifest(appManifest("odd", "1")).file("root/" + odd, "x"));
    const std::string before = root();
    ASSERT_EQ(node.add({{"odd", ""}}).code, 0);
    EXPECT_EQ(read(odd), "////odd/1/root/" + odd);
    ASSERT_EQ(node.rm({{"odd", ""}}).code, 0);
    EXPECT_EQ(root(), before);
}

TEST_F(TemArea, FileMayTakeTheNameOfAnOldVersionsDirectory) {
    install("k1.tar", Package().manifest(appManifest("k", "1")).file("root/k/one", "1"));
    install("k2.tar", Package().manifest(appManifest("k", "2")).file("root/k", "2"));
    const std::string before = root();
    ASSERT_EQ(node.add({{"k", "1"}}).code, 0);
    ASSERT_EQ(node.add({{"k", "2"}}).code, 0);
    EXPECT_EQ(read("k"), "////k/2/root/k");
    ASSERT_EQ(node.add({{"k", "1"}}, true).code, 0);
    EXPECT_EQ(read("k/one"), "////k/1/root/k/one");
    ASSERT_EQ(node.rm({{"k", ""}}).code, 0);
    EXPECT_EQ(root(), before);
}

}  // namespace
