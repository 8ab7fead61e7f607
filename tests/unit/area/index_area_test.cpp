// What indexing an area does beside making indexes: what it leaves out, cleans up and leaves alone.
#include "src/area/index_area.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "base/content.h"
#include "base/fd.h"
#include "src/index/index_file.h"
#include "src/index/scan.h"
#include "src/qxfsutil.h"
#include "tests/support/area_builder.h"
#include "tests/support/capture.h"
#include "tests/support/private_root.h"
#include "tests/support/temp_dir.h"

namespace qxfs {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class IndexedAreas : public testing::Test {
protected:
    /// What became of each directory.
    std::map<std::string, IndexOutcome> index(const IndexOptions& options = {}) {
        std::map<std::string, IndexOutcome> outcomes;
        std::string error;
        Area area;
        EXPECT_TRUE(openArea(m_builder.privateDir(), m_builder.templateRoot(), area, error))
            << error;
        indexArea(area, options,
                  [&](const IndexOutcome& outcome) { outcomes[outcome.path] = outcome; });
        return outcomes;
    }
    [[nodiscard]] std::string path(const std::string& inside) const {
        return m_builder.root() + "/" + inside;
    }

    qx_test::TempDir m_folder;
    qx_test::AreaBuilder m_builder{m_folder.path("w")};
};

TEST_F(IndexedAreas, keepWhatIsInThePlaceOfAnIndexAndNameIt) {
    m_builder.shortcut("fifo/ls", "ls");
    m_builder.fifo(std::string("fifo/") + dirindex::kIndexName);
    m_builder.shortcut("link/ls", "ls");
    fs::create_symlink("/own/data", path("link") + "/" + dirindex::kIndexName);
    m_builder.shortcut("folder/ls", "ls");
    fs::create_directory(path("folder") + "/" + dirindex::kIndexName);

    const auto outcomes = index();

    EXPECT_EQ(IndexResult::faulty, outcomes.at("/fifo").result);
    EXPECT_EQ(IndexResult::faulty, outcomes.at("/link").result);
    EXPECT_EQ(IndexResult::faulty, outcomes.at("/folder").result);
    EXPECT_EQ(4U, outcomes.size());
    EXPECT_TRUE(fs::is_fifo(path("fifo") + "/" + dirindex::kIndexName));
    EXPECT_TRUE(fs::is_symlink(path("link") + "/" + dirindex::kIndexName));
    EXPECT_TRUE(fs::is_empty(path("folder") + "/" + dirindex::kIndexName));
}

TEST_F(IndexedAreas, areNotTakenForOneMoreWhenTheyAreNamedByTheirRoot) {
    m_builder.directory("root");
    fs::create_directory(m_builder.privateDir() + "/lost_files");
    Area area;
    std::string error;

    ASSERT_TRUE(openArea(m_builder.root(), m_builder.templateRoot(), area, error)) << error;

    EXPECT_EQ(fs::canonical(m_builder.root()), area.root);
    EXPECT_FALSE(area.isPrivate());
}

TEST_F(IndexedAreas, areMadeWithoutAWordAndTheWorkingDirectoryStays) {
    m_builder.shortcut("bin/ls", "ls");
    m_builder.fifo("run/pipe");
    const auto before = fs::current_path();
    qxfsutil_debug_level = 4;

    const auto said = qx_test::captured([&] { EXPECT_EQ(3U, index().size()); });

    qxfsutil_debug_level = 0;
    EXPECT_EQ("", said.out + said.err);
    EXPECT_EQ(before, fs::current_path());
    EXPECT_EQ(nullptr, dlist);
}

TEST_F(IndexedAreas, sayWhatNoIndexCanHold) {
    m_builder.fifo("run/pipe");
    m_builder.shortcut("bin/ls", "ls");
    fs::remove(m_builder.templateFile("bin/ls"));

    const auto outcomes = index();

    EXPECT_EQ(IndexResult::notIndexable, outcomes.at("/run").result);
    EXPECT_THAT(outcomes.at("/run").reasons, ElementsAre("'pipe' is a device, a pipe or a socket"));
    EXPECT_THAT(outcomes.at("/bin").reasons,
                ElementsAre(HasSubstr("can't find the template file")));
}

TEST_F(IndexedAreas, leaveOutWhatIsMountedBelow) {
    m_builder.shortcut("bin/ls", "ls");
    m_builder.directory("mnt");
    const qx_test::TempDir other;
    other.write("inside/file", "of another file system");
    const auto ran = qx_test::PrivateRoot().run([&] {
        if (mount("tmpfs", path("mnt").c_str(), "tmpfs", 0, "mode=0755") != 0 ||
            mkdir(path("mnt/inside").c_str(), 0755) != 0) {
            return std::string("cannot mount");
        }
        const auto outcomes = index();
        struct stat info {};
        stat(path("mnt").c_str(), &info);
        return std::string(indexResultName(outcomes.at("/mnt").result)) + ", " +
               outcomes.at("/mnt").reasons.at(0) +
               (outcomes.count("/mnt/inside") != 0 ? ", entered" : "") +
               ((info.st_mode & S_ISUID) != 0 ? ", marked" : "") +
               (fs::exists(path("mnt/._qxlnk_.")) ? ", indexed" : "");
    });
    if (!ran.ran) {
        GTEST_SKIP() << ran.text;
    }
    EXPECT_EQ("not-indexable, another file system is mounted there; it is left out", ran.text);
}

TEST_F(IndexedAreas, dropTheShortcutThatAKilledConversionLeft) {
    m_builder.magicSymlink("bin/sh", "sh");
    const auto text = qx_test::AreaBuilder::linkTo("bin/sh");
    m_folder.write("w/area/root/bin/sh-aB3xYz", text);
    ASSERT_EQ(0, chmod(path("bin/sh-aB3xYz").c_str(), 01644));

    const auto outcome = index({true, false}).at("/bin");

    EXPECT_EQ(IndexResult::indexed, outcome.result);
    EXPECT_THAT(outcome.reasons, IsEmpty());
    EXPECT_FALSE(fs::exists(path("bin/sh-aB3xYz")));
}

TEST_F(IndexedAreas, keepAFileThatOnlyLooksLikeALeftOver) {
    m_builder.magicSymlink("bin/sh", "sh");
    m_folder.write("w/area/root/bin/sh-aB3xYz", "the container's own");
    m_builder.shortcut("bin/sh-second", "another");

    EXPECT_EQ(IndexResult::indexed, index({true, false}).at("/bin").result);

    EXPECT_EQ("the container's own", qx_test::read_file(path("bin/sh-aB3xYz")));
    const auto entries = dirindex::readIndexFile(AT_FDCWD, path("bin/._qxlnk_.")).entries;
    EXPECT_EQ(5U, entries.size());
}

TEST_F(IndexedAreas, areMadeAtAnyDepth) {
    m_builder.directory("top");
    const std::string name(200, 'd');
    base::Fd at(open(path("top").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    std::size_t depth = 0;
    for (; depth * name.size() < PATH_MAX + 1000; ++depth) {
        ASSERT_EQ(0, mkdirat(at.get(), name.c_str(), 0755));
        at = base::Fd(openat(at.get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        ASSERT_TRUE(at);
    }
    const base::Fd file(openat(at.get(), "file", O_WRONLY | O_CREAT | O_CLOEXEC, 0644));

    const auto outcomes = index();

    EXPECT_EQ(depth + 2, outcomes.size());
    for (const auto& [inside, outcome] : outcomes) {
        ASSERT_EQ(IndexResult::indexed, outcome.result)
            << inside.size() << " " << testing::PrintToString(outcome.reasons);
    }
    EXPECT_TRUE(dirindex::readIndexFile(at.get(), dirindex::kIndexName).sound);
}

TEST_F(IndexedAreas, areScannedByManyThreadsAtOnce) {
    for (int i = 0; i < 50; ++i) {
        m_builder.shortcut("bin/n" + std::to_string(i), "x");
    }
    const base::Fd directory(open(path("bin").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const auto expected = dirindex::scanDirectory(directory.get(), m_builder.templateRoot());
    ASSERT_TRUE(expected.has_value());
    EXPECT_EQ(50U, expected->superfluous.size());
    std::array<bool, 4> same{};
    std::vector<std::thread> threads;
    for (bool& good : same) {
        threads.emplace_back([&] {
            good = true;
            for (int round = 0; round < 20; ++round) {
                const auto scan =
                    dirindex::scanDirectory(directory.get(), m_builder.templateRoot());
                good = good && scan && scan->entries == expected->entries;
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }

    EXPECT_EQ((std::array<bool, 4>{true, true, true, true}), same);
}

}  // namespace
}  // namespace qxfs
