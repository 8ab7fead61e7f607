// Indexes of a container's area when templates come and go.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <random>
#include <thread>

#include "base/fd.h"
#include "src/area/index_area.h"
#include "src/index/index_file.h"
#include "tests/unit/node/tem_node.h"

namespace {

using dirindex::IndexEntry;
using tem_test::appManifest;
using tem_test::Node;
using tem_test::osManifest;
using tem_test::Outcome;
using tem_test::Package;
using testing::HasSubstr;

namespace fs = std::filesystem;

class TemIndex : public testing::Test {
protected:
    void SetUp() override {
        QX_SKIP_WITHOUT_NODE();
        node.installOs();
        node.installApp();
        node.makeContainer();
    }

    void install(const std::string& name, const Package& package) {
        const Outcome outcome = node.set({node.package(name + ".tar", package)});
        ASSERT_EQ(outcome.code, 0) << outcome.message;
    }

    void add(const std::vector<QXA::QXATemplate>& keys, bool force = false) {
        const Outcome outcome = node.add(keys, force);
        ASSERT_EQ(outcome.code, 0) << outcome.message;
    }

    void rm(const std::vector<QXA::QXATemplate>& keys) {
        const Outcome outcome = node.rm(keys, true);
        ASSERT_EQ(outcome.code, 0) << outcome.message;
    }

    std::string path(const std::string& inside) { return node.area("root/" + inside); }
    bool isInPlace(const std::string& inside) {
        return fs::exists(fs::symlink_status(path(inside)));
    }
    void write(const std::string& inside, const std::string& content) {
        fs::create_directories(fs::path(path(inside)).parent_path());
        std::ofstream(path(inside)) << content;
    }
    std::string root() { return Node::tree(node.area("root")); }
    std::string log() { return qx_test::read_file(node.path() + "/var/lib/qxagent/agent.log"); }

    // As an operator does it, from outside of the agent.
    void indexByHand() {
        qxfs::Area area;
        std::string error;
        ASSERT_TRUE(qxfs::openArea(node.area(), node.templates(), area, error)) << error;
        qxfs::indexArea(area, {}, [](const qxfs::IndexOutcome&) {});
    }

    void changeIndex(const std::string& directory,
                     const std::function<void(std::vector<IndexEntry>&)>& change) {
        auto entries = dirindex::readIndexFile(AT_FDCWD, path(directory) + "/._qxlnk_.").entries;
        change(entries);
        std::string error;
        ASSERT_TRUE(dirindex::replaceIndex(
            base::Fd(open(path(directory).c_str(), O_RDONLY | O_DIRECTORY)).get(), entries, error))
            << error;
    }

    Node node;
};

TEST_F(TemIndex, WhatATemplateBringsIsInIndexes) {
    add({{"os", ""}, {"app", ""}});
    EXPECT_TRUE(node.isIndexed("usr/bin"));
    EXPECT_TRUE(node.isIndexed("etc"));
    EXPECT_FALSE(isInPlace("usr/bin/app"));
    EXPECT_EQ(node.read("usr/bin/app"), "////app/1/root/usr/bin/app");
    EXPECT_TRUE(isInPlace("usr/bin/alias"));
    EXPECT_EQ(node.findings(), "");
}

TEST_F(TemIndex, DirectoriesWithoutReferencesGetNone) {
    add({{"os", ""}, {"app", ""}});
    EXPECT_FALSE(node.isIndexed("usr"));
    EXPECT_FALSE(node.isIndexed(""));
}

TEST_F(TemIndex, FilesAtTheTopAreIndexed) {
    install("top", Package().manifest(appManifest("top", "1")).file("root/top", "x"));
    const std::string before = root();
    add({{"top", ""}});
    EXPECT_TRUE(node.isIndexed(""));
    EXPECT_FALSE(isInPlace("top"));
    EXPECT_EQ(node.findings(), "");
    rm({{"top", ""}});
    EXPECT_EQ(root(), before);
    EXPECT_FALSE(node.isIndexed(""));
}

TEST_F(TemIndex, RemovalGivesTheOldIndexBackToTheByte) {
    add({{"os", ""}});
    const std::string before = qx_test::read_file(path("etc/._qxlnk_."));
    add({{"app", ""}});
    EXPECT_NE(qx_test::read_file(path("etc/._qxlnk_.")), before);
    rm({{"app", ""}});
    EXPECT_EQ(qx_test::read_file(path("etc/._qxlnk_.")), before);
    EXPECT_EQ(node.findings(), "");
}

TEST_F(TemIndex, NothingIsRememberedOfIndexesWhenAllTemplatesAreGone) {
    add({{"os", ""}, {"app", ""}});
    EXPECT_TRUE(fs::exists(node.area(".qxtemplates/indexes")));
    rm({{"os", ""}, {"app", ""}});
    EXPECT_FALSE(fs::exists(node.area(".qxtemplates/indexes")));
    EXPECT_FALSE(fs::exists(node.area(".qxtemplates/plain")));
}

TEST_F(TemIndex, UpdateIsIndexedToo) {
    add({{"os", ""}, {"app", ""}});
    node.installOs("2");
    node.installApp("2");
    add({});
    EXPECT_EQ(node.read("usr/bin/app"), "////app/2/root/usr/bin/app");
    EXPECT_FALSE(node.holds("usr/bin/only-1"));
    EXPECT_FALSE(isInPlace("usr/bin/only-2"));
    EXPECT_EQ(node.findings(), "");
}

TEST_F(TemIndex, FilesOfTheContainerStayBesideAnIndex) {
    write("etc/own", "mine");
    write("etc/release", "mine too");
    add({{"os", ""}});
    EXPECT_TRUE(node.isIndexed("etc"));
    EXPECT_EQ(node.read("etc/own"), "mine");
    EXPECT_EQ(node.read("etc/release"), "mine too");
    EXPECT_EQ(node.findings(), "");
}

TEST_F(TemIndex, FileThatTheContainerPutOverAnEntrySurvivesTheNextChange) {
    add({{"os", ""}});
    write("etc/release", "changed");
    add({{"app", ""}});
    EXPECT_EQ(node.read("etc/release"), "changed");
    rm({{"app", ""}, {"os", ""}});
    EXPECT_EQ(node.read("etc/release"), "changed");
    EXPECT_EQ(node.findings(), "");
}

TEST_F(TemIndex, EntryThatTheContainerRemovedDoesNotComeBackWithAnotherTemplate) {
    add({{"os", ""}});
    changeIndex("etc", [](std::vector<IndexEntry>& entries) {
        std::erase_if(entries, [](const IndexEntry& entry) { return entry.name == "release"; });
    });
    add({{"app", ""}});
    EXPECT_FALSE(node.holds("etc/release"));
    EXPECT_TRUE(node.holds("etc/only-1"));
}

TEST_F(TemIndex, ShortcutWithATimeOfItsOwnGetsItBack) {
    write("etc/mine", "////os/1/root/etc/only-1");
    fs::rename(path("etc/mine"), path("etc/only-1"));
    chmod(path("etc/only-1").c_str(), 01644);
    const struct timespec times[2] = {{1234, 5}, {1234, 5}};
    ASSERT_EQ(utimensat(AT_FDCWD, path("etc/only-1").c_str(), times, 0), 0);
    add({{"app", ""}}, true);
    EXPECT_FALSE(isInPlace("etc/only-1"));
    rm({{"app", ""}});
    struct stat st {};
    ASSERT_EQ(lstat(path("etc/only-1").c_str(), &st), 0);
    EXPECT_EQ(st.st_mtim.tv_sec, 1234);
    EXPECT_EQ(st.st_mtim.tv_nsec, 5);
    EXPECT_FALSE(fs::exists(node.area(".qxtemplates/shortcuts")));
}

TEST_F(TemIndex, IndexMadeByHandIsThereAgainWhenTheTemplateIsGone) {
    write("etc/own", "mine");
    indexByHand();
    ASSERT_TRUE(node.isIndexed("etc"));
    const std::string before = root();
    add({{"os", ""}});
    EXPECT_EQ(node.findings(), "");
    rm({{"os", ""}});
    EXPECT_EQ(root(), before);
}

TEST_F(TemIndex, DirectoryWithASpecialFileKeepsShortcutsAndTheLogSaysWhy) {
    fs::create_directories(path("etc"));
    ASSERT_EQ(mkfifo(path("etc/pipe").c_str(), 0644), 0);
    const std::string before = root();
    add({{"os", ""}});
    EXPECT_FALSE(node.isIndexed("etc"));
    EXPECT_TRUE(isInPlace("etc/release"));
    EXPECT_THAT(log(),
                HasSubstr("container 101: '/etc' is not indexed: an index cannot hold 'pipe'"));
    EXPECT_EQ(node.findings(), "");
    rm({{"os", ""}});
    EXPECT_EQ(root(), before);
}

TEST_F(TemIndex, DirectoryWithASetUserIdBitOfItsOwnKeepsBoth) {
    fs::create_directories(path("etc"));
    chmod(path("etc").c_str(), 04755);
    const std::string before = root();
    add({{"os", ""}});
    EXPECT_TRUE(isInPlace("etc/release"));
    EXPECT_THAT(log(), HasSubstr("'/etc' is not indexed: it has a set-user-ID bit of its own"));
    rm({{"os", ""}});
    EXPECT_EQ(root(), before);
}

TEST_F(TemIndex, AreaOfAnotherLayoutKeepsShortcutsAndTheLogSaysWhy) {
    fs::remove(node.area("VERSION"));
    fs::create_symlink("005.003", node.area("VERSION"));
    add({{"os", ""}});
    EXPECT_TRUE(isInPlace("etc/release"));
    EXPECT_THAT(log(), HasSubstr("container 101: the area is not indexed: its layout has no"));
}

TEST_F(TemIndex, AreaOfUnknownLayoutKeepsShortcutsAndTheLogSaysWhy) {
    fs::remove(node.area("VERSION"));
    add({{"os", ""}});
    EXPECT_TRUE(isInPlace("etc/release"));
    EXPECT_THAT(log(), HasSubstr("its layout is not known: the link 'VERSION' is missing"));
}

TEST_F(TemIndex, DamagedIndexStopsAChangeBeforeItBegins) {
    add({{"os", ""}});
    std::fstream(path("etc/._qxlnk_."), std::ios::in | std::ios::out | std::ios::binary) << "bad";
    const std::string before = root();
    const Outcome outcome = node.add({{"app", ""}});
    EXPECT_EQ(outcome.code, -1);
    EXPECT_THAT(outcome.message, HasSubstr("the index of '/etc' is damaged"));
    EXPECT_EQ(root(), before);
    EXPECT_FALSE(fs::exists(node.area(".qxtemplates/plain")));
    EXPECT_EQ(node.lsContainer().text, "os/1:os");
}

TEST_F(TemIndex, PlantedReferenceThatLeadsOutIsRefused) {
    for (const char* link : {"////../../etc", "///etc", "////"}) {
        add({{"os", ""}});
        changeIndex("etc", [&](std::vector<IndexEntry>& entries) {
            entries.push_back({8, 1, link == std::string("////") ? ".." : "passwd", link});
        });
        const Outcome outcome = node.add({{"app", ""}});
        EXPECT_THAT(outcome.message, HasSubstr("holds a reference that leads nowhere")) << link;
        EXPECT_FALSE(isInPlace("etc/passwd"));
        fs::remove_all(path(""));
        fs::remove_all(node.area(".qxtemplates"));
        node.makeContainer();
    }
}

TEST_F(TemIndex, DirectoryThatBecameALinkIsLeftAlone) {
    add({{"os", ""}, {"app", ""}});
    fs::create_directories(node.file("outside"));
    fs::rename(path("usr/bin"), node.file("outside/bin"));
    fs::create_directory_symlink(node.file("outside/bin"), path("usr/bin"));
    const std::string before = Node::tree(node.file("outside"));
    rm({{"app", ""}});
    EXPECT_EQ(Node::tree(node.file("outside")), before);
}

TEST_F(TemIndex, RemovalWorksWithoutTheTemplatesOnTheNode) {
    const std::string before = root();
    add({{"os", ""}, {"app", ""}});
    fs::remove_all(node.templates("app"));
    fs::remove_all(node.templates("os"));
    rm({{"os", ""}, {"app", ""}});
    EXPECT_EQ(root(), before);
}

TEST_F(TemIndex, HostKeepsItsWorkingDirectory) {
    const Outcome outcome = node.run([](std::string& text) {
        fs::current_path("/etc");
        const int code =
            QXA::QXATEMLocal(nullptr).add(Node::containerEid(), {{"os", ""}}, false, false);
        text = fs::current_path().string();
        return code;
    });
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.text, "/etc");
    EXPECT_TRUE(node.isIndexed("etc"));
}

TEST_F(TemIndex, TwoContainersAreServedAtOnceByOneProcess) {
    const auto other = QXL::QXLEID::fromString("11111111-2222-3333-4444-666666666666");
    const std::string area = node.path() + "/qx/private/102";
    fs::create_directories(area + "/root");
    fs::create_symlink("005.004", area + "/VERSION");
    std::ofstream(node.path() + "/etc/sysconfig/qx-scripts/102.conf")
        << "EID=\"" << other.toString() << "\"\n";
    const Outcome outcome = node.run([&](std::string&) {
        std::atomic<int> failed = 0;
        const auto serve = [&](const QXL::QXLEID& eid) {
            for (int round = 0; round < 10; ++round) {
                QXA::QXATEMLocal manager(nullptr);
                failed += manager.add(eid, {{"os", ""}, {"app", ""}}, true, false) != 0;
                failed += manager.rm(eid, {{"app", ""}}, true, true) != 0;
            }
        };
        std::thread one(serve, Node::containerEid());
        std::thread two(serve, other);
        one.join();
        two.join();
        return failed.load();
    });
    EXPECT_EQ(outcome.code, 0) << outcome.message;
    EXPECT_EQ(node.findings(), "");
    EXPECT_EQ(Node::tree(area + "/root"), root());
}

TEST_F(TemIndex, ContainerMadeFromACacheIsIndexed) {
    fs::remove_all(node.area());
    fs::remove(node.configPath());
    ASSERT_EQ(node.cache({}).code, 0);
    const Outcome outcome = node.create("os");
    ASSERT_EQ(outcome.code, 0) << outcome.message;
    EXPECT_TRUE(node.isIndexed("etc"));
    EXPECT_FALSE(isInPlace("etc/release"));
    EXPECT_EQ(node.findings(), "");
    EXPECT_FALSE(fs::exists(node.area(".qxtemplates/plain")));
}

// Templates of a seed come and go in a container that has files of its own.
class TemIndexSeed : public TemIndex, public testing::WithParamInterface<unsigned> {
protected:
    std::size_t pick(std::size_t below) { return random() % below; }

    std::string directory() {
        static const char* const kNames[] = {"", "a", "a/b", "etc", "a/b/c", "etc/long"};
        return kNames[pick(std::size(kNames))];
    }

    Package package(const std::string& name) {
        Package package;
        package.manifest(appManifest(name, "1"));
        const std::size_t files = pick(8) == 0 ? 300 : 1 + pick(12);
        for (std::size_t i = 0; i < files; ++i) {
            const std::string in = directory();
            const std::string file =
                "root/" + in + (in.empty() ? "" : "/") + name + std::to_string(i);
            pick(4) == 0 ? package.link(file, "target") : package.file(file, name);
        }
        return package;
    }

    std::mt19937 random{GetParam()};
};

TEST_P(TemIndexSeed, AreaIsCleanAfterEachChangeAndAsBeforeInTheEnd) {
    std::vector<QXA::QXATemplate> all;
    for (const char* name : {"one", "two", "three"}) {
        install(name, package(name));
        all.push_back({name, ""});
    }
    write("a/b/own", "mine");
    write("etc/own", "mine");
    const std::string before = root();
    for (int round = 0; round < 8; ++round) {
        const QXA::QXATemplate& key = all[pick(all.size())];
        if (node.lsContainer().text.find(key.name + "/") == std::string::npos) {
            add({key});
        } else {
            rm({key});
        }
        ASSERT_EQ(node.findings(), "");
    }
    for (const QXA::QXATemplate& key : all) {
        if (node.lsContainer().text.find(key.name + "/") != std::string::npos) {
            rm({key});
        }
    }
    EXPECT_EQ(root(), before);
}

INSTANTIATE_TEST_SUITE_P(Seeds, TemIndexSeed, testing::Range(1U, 13U));

}  // namespace
