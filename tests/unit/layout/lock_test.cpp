// Locks between processes: waiting, time limits, the holder's name, planted files.
#include "layout/lock.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "tests/support/lock_holder.h"
#include "tests/support/temp_dir.h"

namespace {

using qx_test::LockHolder;
using qx_test::TempDir;
using qxnode::FileLock;
using qxnode::LockWait;
using Result = FileLock::Result;

const LockWait kNoWait = LockWait::atMost(std::chrono::milliseconds(0));

class FileLockTest : public testing::Test {
protected:
    Result acquire(FileLock& lock, const LockWait& wait,
                   FileLock::Mode mode = FileLock::Mode::exclusive) {
        return lock.acquire(
            path, wait, error, [this](const std::string& line) { told = line; }, mode);
    }

    TempDir dir;
    std::string path = dir.path(".lock");
    std::string error;
    std::string told;
};

TEST_F(FileLockTest, IsHadWhenNobodyHoldsIt) {
    FileLock lock;
    EXPECT_EQ(acquire(lock, kNoWait), Result::acquired) << error;
    EXPECT_TRUE(lock.held());
    EXPECT_EQ(told, "");
}

TEST_F(FileLockTest, NamesItsHolderInTheFile) {
    FileLock lock;
    ASSERT_EQ(acquire(lock, kNoWait), Result::acquired);
    const std::string begin = "pid " + std::to_string(getpid()) + " (";
    const std::string text = qx_test::read_file(path);
    EXPECT_TRUE(text.starts_with(begin)) << text;
    EXPECT_NE(text.find(") since 20"), std::string::npos) << text;
}

TEST_F(FileLockTest, TimesOutAtOnceWhenItMayNotWait) {
    const LockHolder holder(path);
    FileLock lock;
    EXPECT_EQ(acquire(lock, kNoWait), Result::timeout);
    EXPECT_FALSE(lock.held());
    EXPECT_EQ(told, "");
    const std::string begin = "'" + path + "' is " + holder.name();
    EXPECT_TRUE(error.starts_with(begin)) << error;
}

TEST_F(FileLockTest, SaysForWhomItWaitsAndTimesOut) {
    const LockHolder holder(path);
    FileLock lock;
    EXPECT_EQ(acquire(lock, LockWait::atMost(std::chrono::milliseconds(30))), Result::timeout);
    const std::string begin = "waiting for '" + path + "', " + holder.name();
    EXPECT_TRUE(told.starts_with(begin)) << told;
}

TEST_F(FileLockTest, IsHadWhenTheHolderLetsGoInTime) {
    LockHolder holder(path);
    FileLock lock;
    const auto result = lock.acquire(path, LockWait::atMost(std::chrono::seconds(60)), error,
                                     [&](const std::string&) { holder.letGo(); });
    EXPECT_EQ(result, Result::acquired) << error;
}

TEST_F(FileLockTest, WaitsWithoutEnd) {
    LockHolder holder(path);
    FileLock lock;
    const auto result =
        lock.acquire(path, LockWait::forever(), error, [&](const std::string&) { holder.letGo(); });
    EXPECT_EQ(result, Result::acquired) << error;
}

TEST_F(FileLockTest, IsFreedByTheDeathOfItsHolder) {
    const LockHolder holder(path);
    ASSERT_EQ(kill(holder.pid(), SIGKILL), 0);
    FileLock lock;
    EXPECT_EQ(acquire(lock, LockWait::forever()), Result::acquired) << error;
}

TEST_F(FileLockTest, IgnoresWhatADeadHolderLeftInTheFile) {
    dir.write(".lock", "pid 1 (init) since 2001-01-01T00:00:00+0000\nmuch more text behind it\n");
    FileLock lock;
    EXPECT_EQ(acquire(lock, kNoWait), Result::acquired);
    EXPECT_TRUE(qxnode::lockHolder(path).starts_with("pid " + std::to_string(getpid()) + " ("));
}

TEST_F(FileLockTest, IsFreeAgainAfterRelease) {
    FileLock first;
    ASSERT_EQ(acquire(first, kNoWait), Result::acquired);
    first.release();
    FileLock second;
    EXPECT_EQ(acquire(second, kNoWait), Result::acquired);
}

TEST_F(FileLockTest, RefusesAPlantedLink) {
    const std::string victim = dir.write("victim", "precious");
    dir.make_link(".lock", victim);
    FileLock lock;
    EXPECT_EQ(acquire(lock, kNoWait), Result::failed);
    EXPECT_NE(error.find("Too many levels of symbolic links"), std::string::npos) << error;
    EXPECT_EQ(qx_test::read_file(victim), "precious");
}

TEST_F(FileLockTest, RefusesAPlantedFifo) {
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    FileLock lock;
    EXPECT_EQ(acquire(lock, kNoWait), Result::failed);
    EXPECT_EQ(error, "cannot open the lock '" + path + "': not a regular file");
}

TEST_F(FileLockTest, LocksTheFileThatHasTheNameNow) {
    const LockHolder holder(path);
    // Whoever removed what the lock protects took the file along.
    ASSERT_EQ(unlink(path.c_str()), 0);
    FileLock lock;
    EXPECT_EQ(acquire(lock, kNoWait), Result::acquired) << error;
}

TEST_F(FileLockTest, IsSharedByThoseWhoAskForThat) {
    const LockHolder holder(path, FileLock::Mode::shared);
    FileLock lock;
    EXPECT_EQ(acquire(lock, kNoWait, FileLock::Mode::shared), Result::acquired) << error;
}

TEST_F(FileLockTest, KeepsWritersOutWhileItIsShared) {
    const LockHolder holder(path, FileLock::Mode::shared);
    FileLock lock;
    EXPECT_EQ(acquire(lock, kNoWait), Result::timeout);
    EXPECT_NE(error.find("pid " + std::to_string(holder.pid())), std::string::npos) << error;
}

TEST_F(FileLockTest, IsNotSharedWithAWriter) {
    const LockHolder holder(path);
    FileLock lock;
    EXPECT_EQ(acquire(lock, kNoWait, FileLock::Mode::shared), Result::timeout);
}

TEST_F(FileLockTest, LeavesTheNameOfAnotherWhoSharesIt) {
    FileLock first;
    ASSERT_EQ(acquire(first, kNoWait, FileLock::Mode::shared), Result::acquired);
    const LockHolder second(path, FileLock::Mode::shared);
    first.release();
    EXPECT_TRUE(qxnode::lockHolder(path).starts_with("pid " + std::to_string(second.pid()) + " ("));
}

TEST(LockHolderTest, DoesNotRepeatWhatIsNoHolder) {
    const TempDir dir;
    EXPECT_EQ(qxnode::lockHolder(dir.path("none")), "another process");
    EXPECT_EQ(qxnode::lockHolder(dir.write("a", "\033[2J")), "another process");
    EXPECT_EQ(qxnode::lockHolder(dir.write("b", "pid 1 (\033[2J)\n")), "another process");
}

class LockWaitTest : public testing::Test {
protected:
    ~LockWaitTest() override { unsetenv("QX_LOCK_WAIT"); }

    static std::optional<std::chrono::milliseconds> limitOf(const char* value) {
        setenv("QX_LOCK_WAIT", value, 1);
        return LockWait::fromEnvironment().limit();
    }
};

TEST_F(LockWaitTest, IsWithoutEndWhenTheVariableIsNotSet) {
    unsetenv("QX_LOCK_WAIT");
    EXPECT_EQ(LockWait::fromEnvironment().limit(), std::nullopt);
}

TEST_F(LockWaitTest, CountsSeconds) {
    EXPECT_EQ(limitOf("0"), std::chrono::milliseconds(0));
    EXPECT_EQ(limitOf("2"), std::chrono::milliseconds(2000));
    EXPECT_EQ(limitOf("0.25"), std::chrono::milliseconds(250));
}

TEST_F(LockWaitTest, IsWithoutEndForWhatIsNoNumber) {
    for (const char* value : {"", "soon", "-1", "nan", "inf", "1e99", "5 s"}) {
        EXPECT_EQ(limitOf(value), std::nullopt) << value;
    }
}

}  // namespace
