// Kills and full disks at every call that changes files: the node and the container are always as
// before or as after, and the next writer works.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <random>

#include "tests/support/traced_run.h"
#include "tests/unit/node/tem_node.h"

namespace {

using qx_test::TracedRun;
using tem_test::appManifest;
using tem_test::Node;
using tem_test::osManifest;
using tem_test::Outcome;
using tem_test::Package;
using testing::AnyOf;
using testing::HasSubstr;

namespace fs = std::filesystem;

// One operation on a node that is made anew for each fault.
struct Scenario {
    const char* name;
    std::function<void(const Node&)> prepare;
    std::function<std::vector<std::string>(const Node&)> words;  // operation, eid, words

    friend void PrintTo(const Scenario& scenario, std::ostream* out) { *out << scenario.name; }
};

std::string eid() {
    return Node::containerEid().toString();
}

std::string newOs(const Node& node) {
    return node.package("os-new.tar", Package()
                                          .manifest(osManifest("os", "1", "summary = \"new\"\n"))
                                          .file("root/etc/release", "new")
                                          .file("root/var/new", "new"));
}

std::string newApp(const Node& node) {
    return node.package("app-new.tar",
                        Package().manifest(appManifest("fresh", "1")).file("root/f", "f"));
}

std::vector<Scenario> scenarios() {
    const auto templates = [](const Node& node) {
        node.installOs();
        node.installApp();
    };
    const auto container = [=](const Node& node) {
        templates(node);
        // The list of templates may name one of the other technology, too.
        node.makeContainer("TEMPLATES=\".kr\"\n");
        std::ofstream(node.area("root/own")) << "own";
        fs::create_directories(node.area("root/etc"));
        std::ofstream(node.area("root/etc/release")) << "own release";
    };
    const auto filled = [=](const Node& node) {
        container(node);
        EXPECT_EQ(node.add({{"os", "1"}, {"app", "1"}}, true).code, 0);
        node.installApp("2");
        node.installOs("2");
    };
    return {
        {"Set", [](const Node&) {},
         [](const Node& node) {
             return std::vector<std::string>{"set", eid(), newOs(node)};
         }},
        {"SetListOverOldVersion", templates,
         [](const Node& node) {
             return std::vector<std::string>{"set", eid(), newOs(node), newApp(node)};
         }},
        {"Unset", templates,
         [](const Node&) {
             return std::vector<std::string>{"unset", eid(), "app", "os/1"};
         }},
        {"Cache", templates,
         [](const Node&) {
             return std::vector<std::string>{"cache", eid(), "os/1"};
         }},
        {"Add", container,
         [](const Node&) {
             return std::vector<std::string>{"add", eid(), "os/1", "app/1"};
         }},
        {"AddNewVersions", filled,
         [](const Node&) {
             return std::vector<std::string>{"add", eid()};
         }},
        {"AddAgain", filled,
         [](const Node&) {
             return std::vector<std::string>{"add", eid(), "app/1"};
         }},
        {"AddAgainOverAChangedFile",
         [=](const Node& node) {
             container(node);
             fs::remove(node.area("VERSION"));
             EXPECT_EQ(node.add({{"os", "1"}, {"app", "1"}}, true).code, 0);
             fs::remove(node.area("root/etc/app.conf"));
             std::ofstream(node.area("root/etc/app.conf")) << "changed";
         },
         [](const Node&) {
             return std::vector<std::string>{"add", eid(), "app/1"};
         }},
        {"CreateContainer",
         [=](const Node& node) {
             templates(node);
             EXPECT_EQ(node.cache({}).code, 0);
         },
         [](const Node&) {
             return std::vector<std::string>{"create", eid(), "os"};
         }},
        {"CreateContainerWithoutCache", templates,
         [](const Node&) {
             return std::vector<std::string>{"create", eid(), "os"};
         }},
        {"DestroyContainer",
         [=](const Node& node) {
             templates(node);
             EXPECT_EQ(node.create("os").code, 0);
         },
         [](const Node&) {
             return std::vector<std::string>{"destroy", eid()};
         }},
        {"Remove", filled,
         [](const Node&) {
             return std::vector<std::string>{"rm", eid(), "app", "os"};
         }},
    };
}

class TemFault : public testing::TestWithParam<Scenario> {
protected:
    // Carries the operation out undisturbed, to learn what it calls and what it makes of the node.
    void SetUp() override {
        QX_SKIP_WITHOUT_NODE();
        const Node node;
        GetParam().prepare(node);
        m_first = callsToEnter(node) + 1;
        const auto words = command(node);
        m_before = state(node);
        const TracedRun run = qx_test::runKilledAt(words, 0);
        if (!run.started) {
            GTEST_SKIP() << run.reason;
        }
        ASSERT_EQ(run.exitCode, 0);
        m_after = state(node);
        m_calls = run.calls;
        ASSERT_GT(m_calls, m_first);
    }

    static std::vector<std::string> command(const Node& node) {
        std::vector<std::string> words{TEM_DRIVER, node.path()};
        for (const std::string& word : GetParam().words(node)) {
            words.push_back(word);
        }
        return words;
    }

    // Calls by which the driver enters the node, before the operation begins.
    static unsigned callsToEnter(const Node& node) {
        return qx_test::runKilledAt({TEM_DRIVER, node.path(), "enter", eid()}, 0).calls;
    }

    // What counts of a node: its templates and the container, without the managers' own state.
    static std::string state(const Node& node) {
        std::string text = node.ls().text + "\n";
        for (const auto& entry : fs::directory_iterator(node.templates())) {
            if (entry.path().filename().string().front() != '.') {
                text += entry.path().filename().string() + ":\n" + Node::tree(entry.path());
            }
        }
        // Without a configuration there is no container, whatever lies about of one.
        if (fs::exists(node.configPath())) {
            text += Node::tree(node.area("root"));
            text += qx_test::read_file(node.configPath());
        }
        return text;
    }

    // The next writers, which finish or undo what was left.
    static void recover(const Node& node) {
        const Outcome outcome = node.run([&](std::string&) {
            QXA::QXATEMLocal manager(nullptr);
            // Each fails for want of such a template, after it has tidied up.
            manager.unset({{"nothing", ""}});
            manager.rm(Node::containerEid(), {{"nothing", ""}}, false, true);
            return 0;
        });
        EXPECT_EQ(outcome.code, 0) << outcome.message;
    }

    static void expectNoLeftOvers(const Node& node) {
        if (fs::exists(node.templates(".qxtem/staging"))) {
            EXPECT_EQ(Node::tree(node.templates(".qxtem/staging")), "");
        }
        for (const char* name : {".qxtemplates/journal", ".qxtemplates/plain"}) {
            EXPECT_FALSE(fs::exists(node.area(name))) << name;
        }
        std::error_code noState;
        for (const auto& entry : fs::directory_iterator(node.area(".qxtemplates"), noState)) {
            EXPECT_NE(entry.path().filename().string().front(), '.') << entry.path();
        }
        if (fs::exists(node.configPath())) {
            EXPECT_EQ(node.findings(), "");
        }
    }

    std::string m_before;
    std::string m_after;
    unsigned m_first = 0;  // call of the operation itself
    unsigned m_calls = 0;
};

TEST_P(TemFault, KilledAnywhereItIsTheOldOrTheNewState) {
    bool sawOld = false;
    bool sawNew = false;
    for (unsigned n = m_first; n <= m_calls; ++n) {
        const Node node;
        GetParam().prepare(node);
        const TracedRun run = qx_test::runKilledAt(command(node), n);
        ASSERT_TRUE(run.killed) << n;
        // Readers see whole changes of the node at once, before anybody has tidied up.
        EXPECT_THAT(node.ls().text + "\n", AnyOf(m_before.substr(0, m_before.find('\n') + 1),
                                                 m_after.substr(0, m_after.find('\n') + 1)))
            << n;
        recover(node);
        const std::string found = state(node);
        EXPECT_THAT(found, AnyOf(m_before, m_after)) << "killed at call " << n << " of " << m_calls;
        expectNoLeftOvers(node);
        sawOld = sawOld || found == m_before;
        sawNew = sawNew || found == m_after;
        if (HasFailure()) {
            return;
        }
    }
    EXPECT_TRUE(sawOld);
    EXPECT_TRUE(sawNew || m_before == m_after);
}

TEST_P(TemFault, FullDiskAnywhereIsACleanFailureOrSuccess) {
    if (GetParam().name == std::string("DestroyContainer")) {
        GTEST_SKIP() << "removal of a container needs no space, and is reported once it has begun";
    }
    for (unsigned n = m_first; n <= m_calls; ++n) {
        const Node node;
        GetParam().prepare(node);
        const TracedRun run = qx_test::runFailingAt(command(node), n, ENOSPC);
        // A failure at a step that undoes another may need the next writer.
        recover(node);
        const std::string found = state(node);
        EXPECT_EQ(found, run.exitCode == 0 ? m_after : m_before)
            << "call " << n << " of " << m_calls;
        expectNoLeftOvers(node);
        if (HasFailure()) {
            return;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(EveryCall, TemFault, testing::ValuesIn(scenarios()),
                         [](const auto& info) { return std::string(info.param.name); });

class TemDisk : public testing::Test {
protected:
    void SetUp() override { QX_SKIP_WITHOUT_NODE(); }
};

TEST_F(TemDisk, FullFileSystemLeavesNothingAndSaysSo) {
    const Node node;
    const std::string big =
        node.package("big.tar", Package()
                                    .manifest(osManifest("os", "1"))
                                    .file("root/f", std::string(std::size_t{3} << 20, 'x')));
    const std::string small = node.package("small.tar", Package().manifest(osManifest("s", "1")));
    const Outcome outcome = node.run([&](std::string& text) {
        if (mount("tmpfs", "/qx/template", "tmpfs", 0, "size=1m") != 0) {
            text = "no tmpfs";
            return 0;
        }
        QXA::QXATEMLocal manager(nullptr);
        std::vector<QXA::QXAPackageInfo> infos;
        const int code = manager.set({small, big}, false, infos);
        std::vector<QXA::QXAPackageInfo> left;
        manager.ls(left, QXL::QXLEID::EID_LOCAL, QXA::QXATEMLocal::kAllTemplates);
        for (const auto& entry : fs::recursive_directory_iterator("/qx/template")) {
            if (entry.is_regular_file() && entry.file_size() > 4096) {
                text += entry.path().string();
            }
        }
        text += std::to_string(left.size()) + std::to_string(infos.size());
        text += "/" + std::to_string(manager.set({small}, false, infos));
        return code;
    });
    if (outcome.text == "no tmpfs") {
        GTEST_SKIP() << "a tmpfs cannot be mounted here";
    }
    EXPECT_EQ(outcome.code, -1);
    EXPECT_THAT(outcome.message, HasSubstr("No space left on device"));
    EXPECT_EQ(outcome.text, "00/0");
}

TEST_F(TemDisk, KillsAtRandomTimesLeaveOldOrNew) {
    const Node node;
    node.makeContainer();
    node.installOs();
    node.installApp();
    ASSERT_EQ(node.add({{"os", ""}}).code, 0);
    const std::string without = Node::tree(node.area("root"));
    ASSERT_EQ(node.add({{"app", ""}}).code, 0);
    const std::string with = Node::tree(node.area("root"));
    std::mt19937 random(20260101);
    for (int round = 0; round < 40; ++round) {
        const std::string operation = round % 2 == 0 ? "rm" : "add";
        const pid_t child = fork();
        if (child == 0) {
            execl(TEM_DRIVER, TEM_DRIVER, node.path().c_str(), operation.c_str(), eid().c_str(),
                  "app", static_cast<char*>(nullptr));
            _exit(127);
        }
        ASSERT_GT(child, 0);
        usleep(std::uniform_int_distribution<useconds_t>(0, 20000)(random));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        node.rm({{"nothing", ""}});
        const std::string listed = node.lsContainer().text;
        EXPECT_EQ(Node::tree(node.area("root")),
                  listed.find("app/1") == std::string::npos ? without : with);
    }
}

TEST_F(TemDisk, TwoWritersAtOnceBothSucceed) {
    const Node node;
    node.makeContainer();
    node.installOs();
    ASSERT_EQ(node.add({{"os", ""}}).code, 0);
    std::vector<std::string> paths;
    std::vector<std::string> names;
    for (int i = 0; i < 8; ++i) {
        names.push_back("app" + std::to_string(i));
        paths.push_back(node.package(
            names.back() + ".tar",
            Package().manifest(appManifest(names.back(), "1")).file("root/" + names.back(), "x")));
    }
    const auto together = [&](const std::string& operation, const std::vector<std::string>& words) {
        std::vector<pid_t> children;
        for (const std::string& word : words) {
            children.push_back(fork());
            if (children.back() == 0) {
                execl(TEM_DRIVER, TEM_DRIVER, node.path().c_str(), operation.c_str(), eid().c_str(),
                      word.c_str(), static_cast<char*>(nullptr));
                _exit(127);
            }
        }
        for (const pid_t child : children) {
            int status = -1;
            waitpid(child, &status, 0);
            EXPECT_EQ(status, 0);
        }
    };
    together("set", paths);
    EXPECT_EQ(node.ls(QXA::QXATEMLocal::kApplicationTemplates).text,
              "app0/1:app app1/1:app app2/1:app app3/1:app app4/1:app app5/1:app app6/1:app "
              "app7/1:app");
    together("add", names);
    for (const std::string& name : names) {
        EXPECT_TRUE(node.holds(name)) << name;
        EXPECT_THAT(node.lsContainer().text, HasSubstr(name + "/1:app"));
    }
}

}  // namespace
