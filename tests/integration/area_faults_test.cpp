// The checker's command, ended or failing at each of its system calls that change files: nothing of
// the container is lost, and a second run finishes the work.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>

#include "src/area/check_area.h"
#include "tests/support/area_builder.h"
#include "tests/support/temp_dir.h"
#include "tests/support/traced_run.h"
#include "tools/qxfsutil/exit_code.h"

namespace qxfs {
namespace {

namespace fs = std::filesystem;

const std::string kTool = QX_TOOL;

/// A small area with something of everything, and what its container must still see.
class FaultWorld {
public:
    FaultWorld() : m_builder(m_folder.path("w")) {
        m_builder.shortcut("bin/sh", "shell", 0755);
        m_builder.shortcut("bin/ls", "list", 0755);
        m_builder.magicSymlink("lib/c", "library");
        m_builder.file("lib/own", "mine");
    }

    [[nodiscard]] std::vector<std::string> command(const std::vector<std::string>& words) const {
        std::vector<std::string> all{kTool, "-q", "--template-root", m_builder.templateRoot()};
        all.insert(all.end(), words.begin(), words.end());
        all.push_back(m_builder.privateDir());
        return all;
    }

    void damage() const {
        const auto bin = m_builder.root() + "/bin";
        std::ofstream(bin + "/new") << "new";
        std::ofstream(bin + "/sh") << "shadow";
        chmod((m_builder.root() + "/lib").c_str(), 0755);
        std::fstream index(m_builder.root() + "/._qxlnk_.",
                           std::ios::in | std::ios::out | std::ios::binary);
        index.seekp(16);
        index.put('x');
    }

    /// Each file of the container stands in place, in lost_files, or in a sound index.
    void expectNothingLost() const {
        for (const auto& [path, content] : m_builder.expected()) {
            const auto place = m_builder.root() + path;
            const auto lost = m_builder.privateDir() + "/lost_files/root" + path;
            const auto index = fs::path(place).parent_path().string() + "/" + dirindex::kIndexName;
            const auto entries = dirindex::readIndexFile(AT_FDCWD, index).entries;
            const bool indexed =
                std::any_of(entries.begin(), entries.end(), [&](const dirindex::IndexEntry& entry) {
                    return entry.link.has_value() &&
                           "/" + entry.name == path.substr(path.rfind('/'));
                });
            EXPECT_TRUE(fs::exists(fs::symlink_status(place)) ||
                        fs::exists(fs::symlink_status(lost)) || indexed)
                << path;
        }
    }

    /// What a check finds, a line each. What an interrupted run left beside files of the container
    /// is for a repair to remove, and no more than that is left after one.
    [[nodiscard]] std::string findingsLeft(bool repaired) const {
        Area area;
        std::string error;
        EXPECT_TRUE(openArea(m_builder.privateDir(), m_builder.templateRoot(), area, error))
            << error;
        UndoRecord none;
        std::string findings;
        checkArea(
            area, RepairMode::report, none,
            [&](const Finding& finding) {
                const bool leftover = finding.code == FindingCode::temporaryLeft ||
                                      finding.code == FindingCode::temporaryPartial;
                findings += leftover && !repaired ? "" : describe(finding) + '\n';
            },
            [](const CheckSummary&) {});
        return findings;
    }

private:
    qx_test::TempDir m_folder;
    qx_test::AreaBuilder m_builder;
};

struct Job {
    const char* name;
    std::vector<std::string> words;
    bool damaged;
};

void PrintTo(const Job& job, std::ostream* stream) {
    *stream << job.name;
}

class EveryCall : public testing::TestWithParam<Job> {
protected:
    void SetUp() override {
        const FaultWorld world;
        prepare(world);
        const auto whole = qx_test::runKilledAt(world.command(GetParam().words), 0);
        if (!whole.started) {
            GTEST_SKIP() << "cannot trace a child here: " << whole.reason;
        }
        ASSERT_LE(whole.exitCode, qxfsutil::kExitCorrected);
    }

    static void prepare(const FaultWorld& world) {
        if (GetParam().damaged) {
            ASSERT_EQ(0, qx_test::runKilledAt(world.command({"index"}), 0).exitCode);
            world.damage();
        }
    }

    using Run = std::function<qx_test::TracedRun(const std::vector<std::string>&, unsigned n)>;
    using Look = std::function<void(const FaultWorld&, const qx_test::TracedRun&)>;

    /// Runs the command in one world after the other, with its first call disturbed, its second
    /// one, and so on until it has no more. How many there are may differ from world to world.
    static void disturbEach(const Run& run, const Look& look) {
        constexpr unsigned kFewest = 5;
        for (unsigned n = 1;; ++n) {
            SCOPED_TRACE(n);
            const FaultWorld world;
            prepare(world);
            const auto disturbed = run(world.command(GetParam().words), n);
            if (disturbed.calls < n) {
                EXPECT_LE(disturbed.exitCode, qxfsutil::kExitCorrected);
                EXPECT_GT(n, kFewest);
                return;
            }
            look(world, disturbed);
        }
    }
};

TEST_P(EveryCall, mayBeTheLastOneBeforeAKill) {
    disturbEach(qx_test::runKilledAt,
                [](const FaultWorld& world, const qx_test::TracedRun& killed) {
                    EXPECT_TRUE(killed.killed);
                    world.expectNothingLost();
                    const auto second = qx_test::runKilledAt(world.command(GetParam().words), 0);
                    EXPECT_LE(second.exitCode, qxfsutil::kExitCorrected);
                    EXPECT_EQ("", world.findingsLeft(GetParam().damaged));
                    qx_test::runKilledAt(world.command({"check", "-y"}), 0);
                    EXPECT_EQ("", world.findingsLeft(true));
                    world.expectNothingLost();
                });
}

TEST_P(EveryCall, mayFailForWantOfSpace) {
    disturbEach(
        [](const auto& command, unsigned n) { return qx_test::runFailingAt(command, n, ENOSPC); },
        [](const FaultWorld& world, const qx_test::TracedRun& failing) {
            EXPECT_GE(failing.exitCode, 0);
            EXPECT_LT(failing.exitCode, 128) << "ended by a signal";
            world.expectNothingLost();
            qx_test::runKilledAt(world.command(GetParam().words), 0);
            EXPECT_EQ("", world.findingsLeft(GetParam().damaged));
        });
}

TEST_P(EveryCall, mayFailForWantOfADevice) {
    disturbEach(
        [](const auto& command, unsigned n) { return qx_test::runFailingAt(command, n, EIO); },
        [](const FaultWorld& world, const qx_test::TracedRun& failing) {
            EXPECT_LT(failing.exitCode, 128) << "ended by a signal";
            world.expectNothingLost();
        });
}

INSTANTIATE_TEST_SUITE_P(
    jobs, EveryCall,
    testing::Values(Job{"index", {"index"}, false},
                    Job{"indexConverting", {"index", "--convert-symlinks"}, false},
                    Job{"repair", {"check", "-y"}, true}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace qxfs
