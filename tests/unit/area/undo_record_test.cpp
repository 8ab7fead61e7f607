// Undo records: written, read back, applied, and met damaged.
#include "src/area/undo.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <regex>

#include "tests/support/area_builder.h"
#include "tests/support/temp_dir.h"

namespace qxfs {
namespace {

class Undo : public testing::Test {
protected:
    UndoStep stepFor(const std::string& path) {
        UndoStep step;
        step.path = path;
        EXPECT_TRUE(readState(AT_FDCWD, path, true, step.state));
        return step;
    }

    void write(const UndoStep& step) {
        UndoRecord record;
        std::string error;
        ASSERT_TRUE(record.open(m_file, m_area, error)) << error;
        ASSERT_TRUE(record.add(step));
        ASSERT_TRUE(record.flush());
        EXPECT_TRUE(record.hasSteps());
    }

    RecordedChanges read() {
        RecordedChanges changes;
        std::string error;
        EXPECT_TRUE(readRecord(m_file, changes, error)) << error;
        return changes;
    }

    bool undo() {
        const auto failures = undoChanges(read());
        m_error = testing::PrintToString(failures);
        return failures.empty();
    }

    /// What undoing says of a step when it is refused.
    std::string refusalOf(const UndoStep& step) {
        write(step);
        EXPECT_FALSE(undo());
        return m_error;
    }

    qx_test::TempDir m_folder;
    std::string m_area = m_folder.make_dir("area");
    std::string m_file = m_folder.path("record");
    std::string m_error;
};

TEST_F(Undo, bringsAFileBackWithEveryByteAndAttribute) {
    const auto path = m_folder.write("area/a\n\xff", std::string("\0\x80 text", 7));
    chmod(path.c_str(), 01640);
    write(stepFor(path));
    struct stat before {};
    lstat(path.c_str(), &before);
    unlink(path.c_str());

    ASSERT_TRUE(undo()) << m_error;

    struct stat after {};
    ASSERT_EQ(0, lstat(path.c_str(), &after));
    EXPECT_EQ(before.st_mode, after.st_mode);
    EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec);
    EXPECT_EQ(std::string("\0\x80 text", 7), qx_test::read_file(path));
}

TEST_F(Undo, bringsASymbolicLinkBack) {
    const auto path = m_folder.make_link("area/link", "target");
    write(stepFor(path));
    unlink(path.c_str());

    ASSERT_TRUE(undo()) << m_error;

    EXPECT_EQ("target", std::filesystem::read_symlink(path).string());
}

TEST_F(Undo, removesWhatWasNotThere) {
    const auto path = m_folder.path("area/new");
    write(stepFor(path));
    m_folder.write("area/new", "x");

    ASSERT_TRUE(undo()) << m_error;

    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(Undo, mayBeRepeated) {
    const auto path = m_folder.write("area/a", "x");
    write(stepFor(path));
    unlink(path.c_str());

    EXPECT_TRUE(undo()) << m_error;
    EXPECT_TRUE(undo()) << m_error;

    EXPECT_EQ("x", qx_test::read_file(path));
}

TEST_F(Undo, leavesOutALastLineThatIsCutShort) {
    write(stepFor(m_folder.write("area/a", "x")));
    std::ofstream(m_file, std::ios::app) << "{\"step\": \"res";

    EXPECT_EQ(1U, read().steps.size());
}

TEST_F(Undo, refusesADamagedRecordNamingTheLine) {
    std::ofstream(m_file) << "{}\n";
    RecordedChanges changes;
    std::string error;

    EXPECT_FALSE(readRecord(m_file, changes, error));

    EXPECT_NE(std::string::npos, error.find(m_file + ":1: "));
}

TEST_F(Undo, refusesARecordWithOtherThanHexadecimalDigits) {
    std::ofstream(m_file) << R"({"area": "2f+1"})" << '\n';
    RecordedChanges changes;
    std::string error;

    EXPECT_FALSE(readRecord(m_file, changes, error));

    EXPECT_NE(std::string::npos, error.find("hexadecimal digits"));
}

TEST_F(Undo, refusesNumbersThatTheirFieldsDoNotHold) {
    write(stepFor(m_folder.write("area/a", "x")));
    const std::string written = qx_test::read_file(m_file);
    for (const char* number : {"-1", "4294967296", "1e300", "1.5", "\"7\"", "null"}) {
        const std::regex mode(R"("uid":\d+)");
        std::ofstream(m_file) << std::regex_replace(written, mode,
                                                    std::string("\"uid\":") + number);
        RecordedChanges changes;
        std::string error;
        EXPECT_FALSE(readRecord(m_file, changes, error)) << number;
        EXPECT_NE(std::string::npos, error.find("number of the field's range")) << error;
    }
}

TEST_F(Undo, refusesARecordThatIsNotThere) {
    RecordedChanges changes;
    std::string error;
    EXPECT_FALSE(readRecord(m_file, changes, error));
    EXPECT_NE(std::string::npos, error.find("No such file or directory"));
}

TEST_F(Undo, waitsForNoPipeInPlaceOfARecord) {
    ASSERT_EQ(0, mkfifo(m_file.c_str(), 0600));
    RecordedChanges changes;
    std::string error;
    EXPECT_FALSE(readRecord(m_file, changes, error));
    EXPECT_NE(std::string::npos, error.find("is no regular file"));
}

TEST_F(Undo, neverOverwritesARecord) {
    m_folder.write("record", "precious");
    UndoRecord record;
    std::string error;
    EXPECT_FALSE(record.open(m_file, m_area, error));
    EXPECT_EQ("precious", qx_test::read_file(m_file));
}

TEST_F(Undo, withoutAnOpenRecordWritesNothing) {
    UndoRecord record;
    EXPECT_TRUE(record.add(stepFor(m_folder.write("area/a", "x"))));
    EXPECT_FALSE(std::filesystem::exists(m_file));
}

TEST_F(Undo, refusesARecordThatNamesNoArea) {
    std::ofstream(m_file) << "{\"area\": \"\"}\n";
    RecordedChanges changes;
    std::string error;
    EXPECT_FALSE(readRecord(m_file, changes, error));
    EXPECT_NE(std::string::npos, error.find("is no undo record"));
}

TEST_F(Undo, movesAnItemBackAndRemovesTheDirectoriesThatWereMadeForIt) {
    m_folder.make_dir("area/lost_files");
    m_folder.write("area/lost_files/a", "x");
    UndoStep step;
    step.kind = UndoStep::Kind::move;
    step.path = m_area + "/a";
    step.movedTo = m_area + "/lost_files/a";
    step.madeDirectories = {m_area + "/lost_files"};
    write(step);

    EXPECT_TRUE(undo()) << m_error;
    EXPECT_TRUE(undo()) << m_error;

    EXPECT_EQ("x", qx_test::read_file(step.path));
    EXPECT_FALSE(std::filesystem::exists(m_area + "/lost_files"));
}

TEST_F(Undo, touchesNothingOutsideOfItsArea) {
    const auto outside = m_folder.write("outside", "before");
    auto step = stepFor(outside);
    step.state.content = "after";
    for (const auto& path : {outside, m_area + "/../outside", m_area + "/..", m_area + "x/a"}) {
        step.path = path;
        EXPECT_NE(std::string::npos, refusalOf(step).find("the path leads out of the area"))
            << path;
        std::filesystem::remove(m_file);
    }
    EXPECT_EQ("before", qx_test::read_file(outside));
}

TEST_F(Undo, followsNoLinkThatWasPlantedSince) {
    m_folder.make_dir("outside");
    const auto victim = m_folder.write("outside/a", "before");
    const auto directory = m_folder.make_dir("area/d");
    m_folder.write("area/d/a", "recorded");
    auto step = stepFor(directory + "/a");
    std::filesystem::remove_all(directory);
    m_folder.make_link("area/d", "../outside");

    EXPECT_NE(std::string::npos, refusalOf(step).find("the path leads out of the area"));

    EXPECT_EQ("before", qx_test::read_file(victim));
}

TEST_F(Undo, movesNothingThroughAPlantedLink) {
    m_folder.make_dir("outside");
    const auto victim = m_folder.write("outside/a", "before");
    m_folder.make_link("area/lost_files", "../outside");
    UndoStep step;
    step.kind = UndoStep::Kind::move;
    step.path = m_area + "/a";
    step.movedTo = m_area + "/lost_files/a";

    EXPECT_NE(std::string::npos, refusalOf(step).find("the path leads out of the area"));

    EXPECT_EQ("before", qx_test::read_file(victim));
}

TEST_F(Undo, givesAttributesToNothingThatALinkStandsFor) {
    const auto victim = m_folder.write("outside", "x");
    chmod(victim.c_str(), 0600);
    UndoStep step;
    step.path = m_folder.make_dir("area/d");
    ASSERT_TRUE(readState(AT_FDCWD, step.path, false, step.state));
    std::filesystem::remove(step.path);
    m_folder.make_link("area/d", "../outside");

    EXPECT_NE(std::string::npos, refusalOf(step).find("the path leads out of the area"));

    struct stat info {};
    ASSERT_EQ(0, lstat(victim.c_str(), &info));
    EXPECT_EQ(0600U, info.st_mode & 07777);
}

TEST_F(Undo, goesOnAfterAStepThatCannotBePutBackAndNamesIt) {
    const auto first = m_folder.write("area/first", "1");
    const auto second = m_folder.write("area/second", "2");
    UndoRecord record;
    std::string error;
    ASSERT_TRUE(record.open(m_file, m_area, error)) << error;
    ASSERT_TRUE(record.add(stepFor(first)) && record.add(stepFor(second)) && record.flush());
    unlink(first.c_str());
    unlink(second.c_str());
    m_folder.make_dir("area/second");

    EXPECT_FALSE(undo());

    EXPECT_NE(std::string::npos, m_error.find("can't put back '" + second + "'")) << m_error;
    EXPECT_EQ("1", qx_test::read_file(first));
}

TEST_F(Undo, leavesNothingBehindAndNothingOfTheContainersOut) {
    m_folder.make_dir("area/root");
    const auto path = m_folder.write("area/root/a", "x");
    const auto own = m_folder.write("area/root/._qxlnk_.~undo", "the container's");
    write(stepFor(path));
    unlink(path.c_str());
    m_folder.make_dir("area/root/a");
    const auto before = qx_test::snapshot(m_area);

    EXPECT_FALSE(undo());

    EXPECT_TRUE(before == qx_test::snapshot(m_area));
    EXPECT_EQ("the container's", qx_test::read_file(own));
}

TEST_F(Undo, leavesAFileAsItIsWhoseChangeWasNotMade) {
    const auto path = m_folder.write("area/a", "x");
    write(stepFor(path));
    struct stat before {};
    struct stat after {};
    ASSERT_EQ(0, lstat(path.c_str(), &before));

    ASSERT_TRUE(undo()) << m_error;

    ASSERT_EQ(0, lstat(path.c_str(), &after));
    EXPECT_EQ(before.st_ino, after.st_ino);
}

TEST_F(Undo, movesNothingOverWhatCameIntoThePlaceSince) {
    m_folder.write("area/lost_files/a", "moved");
    UndoStep step;
    step.kind = UndoStep::Kind::move;
    step.path = m_folder.write("area/a", "new");
    step.movedTo = m_area + "/lost_files/a";

    EXPECT_NE(std::string::npos, refusalOf(step).find("File exists"));

    EXPECT_EQ("new", qx_test::read_file(step.path));
    EXPECT_EQ("moved", qx_test::read_file(step.movedTo));
}

TEST_F(Undo, refusesARecordOfANewerVersionByName) {
    std::ofstream(m_file) << R"({"area": "2f", "version": 2})"
                          << "\nsomething new\n";
    RecordedChanges changes;
    std::string error;

    EXPECT_FALSE(readRecord(m_file, changes, error));

    EXPECT_NE(std::string::npos, error.find("is of a newer version of this program"));
}

TEST_F(Undo, readsARecordThatNamesNoVersion) {
    std::ofstream(m_file) << R"({"area": "2f"})"
                          << "\n";
    EXPECT_EQ("/", read().area);
}

/// A record on a full disk: files of this process may not grow beyond a size.
class FullDisk {
public:
    explicit FullDisk(rlim_t size) : m_ignored(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit full{size, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &full);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;
    ~FullDisk() {
        setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_ignored);
    }

private:
    void (*m_ignored)(int);
    rlimit m_before{};
};

TEST_F(Undo, cutsALineOffAgainThatDidNotGoOntoTheDiskWhole) {
    const auto large = m_folder.write("area/large", std::string(100000, 'x'));
    const auto small = m_folder.write("area/small", "x");
    UndoRecord record;
    std::string error;
    ASSERT_TRUE(record.open(m_file, m_area, error)) << error;
    ASSERT_TRUE(record.add(stepFor(small)));
    {
        const FullDisk full(50000);
        EXPECT_FALSE(record.add(stepFor(large)));
        EXPECT_EQ(EFBIG, errno);
    }
    ASSERT_TRUE(record.add(stepFor(small)));
    ASSERT_TRUE(record.flush());

    EXPECT_EQ(2U, read().steps.size());
}

TEST_F(Undo, aRecordHasNoStepsBeforeTheyAreFlushed) {
    UndoRecord record;
    std::string error;
    ASSERT_TRUE(record.open(m_file, m_area, error)) << error;
    EXPECT_FALSE(record.hasSteps());

    ASSERT_TRUE(record.add(stepFor(m_folder.write("area/a", "x"))));

    EXPECT_FALSE(record.hasSteps());
    EXPECT_TRUE(record.flush());
    EXPECT_TRUE(record.hasSteps());
}

TEST_F(Undo, bringsANameOfFullLengthBack) {
    const auto path = m_folder.write("area/" + std::string(255, 'n'), "x");
    write(stepFor(path));
    unlink(path.c_str());

    ASSERT_TRUE(undo()) << m_error;

    EXPECT_TRUE(std::filesystem::exists(path));
}

}  // namespace
}  // namespace qxfs
