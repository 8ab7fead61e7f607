// Node directories: what makes one, and that entering shows its trees and changes nothing outside.
#include "layout/node_dir.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "node/support/toml_reader.h"
#include "tests/support/private_root.h"
#include "tests/support/temp_dir.h"
#include "tests/support/test_node.h"

namespace {

namespace fs = std::filesystem;
using qx_test::read_file;
using qx_test::TempDir;
using qx_test::TestNode;

TEST(InitNodeDirectoryTest, MakesTheTreesAndGivesTheNodeAnEid) {
    const TempDir dir;
    std::string error;
    ASSERT_EQ(qxnode::initNodeDirectory(dir.path("node"), error), 0) << error;
    for (const char* tree : {"qx/template", "qx/private", "etc/sysconfig/qx-scripts", "etc/qxagent",
                             "var/lib/qxagent"}) {
        EXPECT_TRUE(fs::is_directory(dir.path("node") + "/" + tree)) << tree;
    }
    const auto config = qxnode::TomlTable::read(dir.path("node/etc/qxagent/agent.toml"));
    EXPECT_EQ(config.requiredText("eid").size(), 36U);
}

TEST(InitNodeDirectoryTest, LeavesANodeDirectoryAsItIs) {
    const TempDir dir;
    std::string error;
    ASSERT_EQ(qxnode::initNodeDirectory(dir.path(), error), 0);
    const std::string before = read_file(dir.path("etc/qxagent/agent.toml"));
    ASSERT_EQ(qxnode::initNodeDirectory(dir.path(), error), 0) << error;
    EXPECT_EQ(read_file(dir.path("etc/qxagent/agent.toml")), before);
}

TEST(InitNodeDirectoryTest, LeavesAConfigurationThatItCannotExamine) {
    const TempDir dir;
    std::filesystem::create_directories(dir.path("etc/qxagent"));
    dir.make_link("etc/qxagent/agent.toml", "agent.toml");
    std::string error;

    EXPECT_EQ(qxnode::initNodeDirectory(dir.path(), error), -1);
    EXPECT_TRUE(std::filesystem::is_symlink(dir.path("etc/qxagent/agent.toml")));
}

TEST(InitNodeDirectoryTest, SaysWhyItCannotBeMade) {
    const TempDir dir;
    dir.write("file", "");
    std::string error;
    EXPECT_EQ(qxnode::initNodeDirectory(dir.path("file"), error), -1);
    EXPECT_NE(error.find(dir.path("file")), std::string::npos) << error;
}

TEST(EnterNodeDirectoryTest, RefusesAFolderThatIsNone) {
    const TempDir dir;
    std::string error;
    EXPECT_EQ(qxnode::enterNodeDirectory(dir.path(), error), -1);
    EXPECT_EQ(error, "cannot enter the node directory '" + dir.path() + "': '" + dir.path() +
                         "' is not a node directory: '" + dir.path("qx") + "' is missing");
}

class EnteredNodeTest : public testing::Test {
protected:
    void SetUp() override { QX_SKIP_WITHOUT_TEST_NODE(); }

    TestNode node;
};

TEST_F(EnteredNodeTest, HasItsTreesAtTheRealPaths) {
    node.write("/qx/template/mark", "1");
    node.writeContainer(101, "A=\"1\"\n");
    node.run([] {
        EXPECT_EQ(read_file("/qx/template/mark"), "1");
        EXPECT_EQ(read_file("/etc/sysconfig/qx-scripts/101.conf"), "A=\"1\"\n");
        EXPECT_TRUE(fs::exists("/etc/qxagent/agent.toml"));
        EXPECT_TRUE(fs::is_directory("/var/lib/qxagent"));
    });
}

/// Which folders of the trees a machine has already. Folders below another come after it.
std::vector<std::vector<std::string>> machines() {
    std::vector<std::vector<std::string>> all{{}};
    for (const auto& ways : std::vector<std::vector<std::vector<std::string>>>{
             {{}, {"qx"}},
             {{}, {"etc/sysconfig"}, {"etc/sysconfig/qx-scripts"}},
             {{}, {"etc/qxagent"}},
             {{}, {"var/lib"}, {"var/lib/qxagent"}}}) {
        std::vector<std::vector<std::string>> longer;
        for (const auto& have : all) {
            for (const auto& more : ways) {
                longer.push_back(have);
                longer.back().insert(longer.back().end(), more.begin(), more.end());
            }
        }
        all = std::move(longer);
    }
    return all;
}

/// The first of the node's files that is not seen, or what entering said.
std::string missingAfterEntering(const std::string& dir) {
    std::string error;
    if (qxnode::enterNodeDirectory(dir, error) != 0) {
        return error;
    }
    for (const char* file :
         {"/qx/template/mark", "/etc/sysconfig/qx-scripts/101.conf", "/etc/qxagent/agent.toml",
          "/var/lib/qxagent/mark", "/etc/machine", "/var/machine"}) {
        if (!fs::exists(file)) {
            return std::string(file) + " is not seen";
        }
    }
    return "";
}

TEST_F(EnteredNodeTest, HasItsTreesWhateverPartsOfThemTheMachineHas) {
    node.write("/qx/template/mark", "");
    node.write("/var/lib/qxagent/mark", "");
    node.writeContainer(101, "");
    for (const auto& folders : machines()) {
        const TempDir machine;
        machine.write("etc/machine", "");
        machine.write("var/machine", "");
        qx_test::PrivateRoot root;
        root.show(machine.path("etc"), "/etc").show(machine.path("var"), "/var");
        for (const auto& folder : folders) {
            fs::create_directories(machine.path(folder));
            if (folder == "qx") {
                root.show(machine.path("qx"), "/qx");
            }
        }
        const auto entered = root.run([&] { return missingAfterEntering(node.path("")); });
        EXPECT_EQ(entered.text, "") << "on a machine with " << testing::PrintToString(folders);
    }
}

TEST_F(EnteredNodeTest, WritesIntoTheNodeDirectory) {
    node.run([] { std::ofstream("/qx/private/made") << "here"; });
    EXPECT_EQ(read_file(node.path("/qx/private/made")), "here");
}

TEST_F(EnteredNodeTest, MakesNothingOnTheHost) {
    const auto exists = [] {
        std::string there;
        for (const char* path :
             {"/qx", "/etc/sysconfig", "/etc/qxagent", "/var/lib/qxagent", "/.old-root"}) {
            there += fs::exists(path) ? '1' : '0';
        }
        return there;
    };
    const std::string before = exists();
    node.run([] { EXPECT_TRUE(fs::exists("/qx")); });
    EXPECT_EQ(exists(), before);
}

TEST_F(EnteredNodeTest, KeepsTheRestOfTheMachineAndTheWorkingDirectory) {
    const TempDir work;
    const qx_test::WorkingDirectory here(work.path());
    work.write("file", "beside");
    node.run([&] {
        EXPECT_EQ(fs::current_path(), work.path());
        EXPECT_EQ(read_file("file"), "beside");
        EXPECT_TRUE(fs::exists("/etc/passwd"));
        EXPECT_TRUE(fs::exists("/proc/self/stat"));
        EXPECT_FALSE(fs::exists("/.old-root"));
    });
}

TEST_F(EnteredNodeTest, CanBeEnteredFromWithinAnother) {
    TestNode inner;
    inner.write("/qx/mark", "inner");
    node.run([&] {
        std::string error;
        ASSERT_EQ(qxnode::enterNodeDirectory(inner.path(""), error), 0) << error;
        EXPECT_EQ(read_file("/qx/mark"), "inner");
    });
}

/// Ends the process: with 0 when the node directory "node" of the folder, which becomes the root,
/// can be entered from there.
[[noreturn]] void enterInChroot(const std::string& folder) {
    std::string error;
    const bool entered = chroot(folder.c_str()) == 0 && chdir("/") == 0 &&
                         qxnode::enterNodeDirectory("/node", error) == 0 &&
                         fs::exists("/qx/mark") && fs::exists("/beside");
    std::fprintf(stderr, "%s", error.c_str());
    _exit(entered ? 0 : 1);
}

TEST_F(EnteredNodeTest, CanBeEnteredInAChrootThatIsNoMountPoint) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "changing the root wants root";
    }
    const TempDir folder;
    std::string error;
    ASSERT_EQ(qxnode::initNodeDirectory(folder.path("node"), error), 0) << error;
    folder.write("node/qx/mark", "");
    folder.write("beside/file", "");
    const std::string mounts = read_file("/proc/self/mountinfo");
    const pid_t child = fork();
    if (child == 0) {
        enterInChroot(folder.path());
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(read_file("/proc/self/mountinfo"), mounts);
}

TEST_F(EnteredNodeTest, IsNotEnteredAgainByProgramsStartedInIt) {
    const std::string environment = "/somewhere/else";
    setenv("QXA_NODE_DIR", environment.c_str(), 1);
    node.run([] { EXPECT_EQ(std::getenv("QXA_NODE_DIR"), nullptr); });
    EXPECT_EQ(std::getenv("QXA_NODE_DIR"), environment);
    unsetenv("QXA_NODE_DIR");
}

TEST_F(EnteredNodeTest, CanBeEnteredWithoutRoot) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "every other test here shows it when not run as root";
    }
    constexpr unsigned nobody = 65534;
    for (const auto& entry : fs::recursive_directory_iterator(node.path(""))) {
        ASSERT_EQ(lchown(entry.path().c_str(), nobody, nobody), 0);
    }
    const pid_t child = fork();
    if (child == 0) {
        std::string error;
        const bool entered =
            setresgid(nobody, nobody, nobody) == 0 && setresuid(nobody, nobody, nobody) == 0 &&
            // A change of user hides /proc/self; a program that such a user
            // starts does not have it hidden.
            prctl(PR_SET_DUMPABLE, 1) == 0 && qxnode::enterNodeDirectory(node.path(""), error) == 0;
        std::fprintf(stderr, "%s", error.c_str());
        std::ofstream("/qx/private/made") << "as nobody";
        _exit(entered && getuid() == 0 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(read_file(node.path("/qx/private/made")), "as nobody");
}

}  // namespace
