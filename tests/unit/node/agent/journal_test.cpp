// The journal of requests: what is kept, what was interrupted, what cannot be written.
#include "QXA/QXAJournal.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>

#include "QXL/QXLError.h"
#include "layout/paths.h"
#include "node/agent/database.h"
#include "node/agent/process_id.h"
#include "tests/support/test_node.h"

namespace {

using qx_test::TestNode;
using QXA::QXAJournal;
using QXA::QXAJournalEntry;

QXAJournalEntry entryOf(const std::string& operation) {
    QXAJournalEntry entry;
    entry.user = "alice";
    entry.operation = operation;
    entry.target = "101";
    entry.packages = {"vim 1", "", std::string("odd\0\xff", 5)};
    entry.before = {"base/20"};
    return entry;
}

std::vector<QXAJournalEntry> readAll(std::size_t limit = 0) {
    std::vector<QXAJournalEntry> entries;
    EXPECT_EQ(QXAJournal::read(entries, limit), 0) << QXL::getErrorMessage();
    return entries;
}

class JournalTest : public testing::Test {
protected:
    void SetUp() override { QX_SKIP_WITHOUT_TEST_NODE(); }

    TestNode node;
};

TEST_F(JournalTest, IsEmptyBeforeTheFirstRequest) {
    node.run([] { EXPECT_TRUE(readAll().empty()); });
}

TEST_F(JournalTest, GivesAnEndedEntryBackInEveryField) {
    node.run([] {
        auto entry = entryOf("install");
        const auto id = QXAJournal::begin(entry);
        ASSERT_GT(id, 0) << QXL::getErrorMessage();
        entry.after = {"base/20", "vim/1"};
        entry.result = 3510;
        entry.message = "because";
        ASSERT_EQ(QXAJournal::end(id, entry), 0) << QXL::getErrorMessage();
        const auto entries = readAll();
        ASSERT_EQ(entries.size(), 1U);
        EXPECT_EQ(entries[0].id, id);
        EXPECT_EQ(entries[0].time.size(), 24U);
        EXPECT_EQ(entries[0].user, "alice");
        EXPECT_EQ(entries[0].operation, "install");
        EXPECT_EQ(entries[0].target, "101");
        EXPECT_EQ(entries[0].packages, entry.packages);
        EXPECT_EQ(entries[0].before, entry.before);
        EXPECT_EQ(entries[0].after, entry.after);
        EXPECT_EQ(entries[0].result, 3510);
        EXPECT_EQ(entries[0].message, "because");
    });
}

TEST_F(JournalTest, GivesTheNewestEntriesOldestFirst) {
    node.run([] {
        for (const char* operation : {"first", "second", "third"}) {
            QXAJournal::end(QXAJournal::begin(entryOf(operation)), entryOf(operation));
        }
        const auto entries = readAll(2);
        ASSERT_EQ(entries.size(), 2U);
        EXPECT_EQ(entries[0].operation, "second");
        EXPECT_EQ(entries[1].operation, "third");
        EXPECT_LT(entries[0].id, entries[1].id);
        EXPECT_EQ(readAll().size(), 3U);
    });
}

TEST_F(JournalTest, TellsARequestAtWork) {
    node.run([] {
        QXAJournal::begin(entryOf("install"));
        const auto entries = readAll();
        ASSERT_EQ(entries.size(), 1U);
        EXPECT_EQ(entries[0].result, QXAJournal::kRunning);
        EXPECT_EQ(entries[0].packages, entryOf("install").packages);
    });
}

TEST_F(JournalTest, TellsARequestThatWasKilled) {
    node.run([] {
        const pid_t child = fork();
        if (child == 0) {
            QXAJournal::begin(entryOf("install"));
            raise(SIGKILL);
        }
        waitpid(child, nullptr, 0);
        const auto entries = readAll();
        ASSERT_EQ(entries.size(), 1U);
        EXPECT_EQ(entries[0].result, QXAJournal::kInterrupted);
        EXPECT_EQ(entries[0].before, entryOf("install").before);
    });
}

TEST_F(JournalTest, EndsAnEntryOnce) {
    node.run([] {
        const auto id = QXAJournal::begin(entryOf("install"));
        EXPECT_EQ(QXAJournal::end(id, entryOf("install")), 0);
        EXPECT_EQ(QXAJournal::end(id, entryOf("other")), -1);
        EXPECT_EQ(QXAJournal::end(id + 1, entryOf("other")), -1);
        EXPECT_EQ(readAll()[0].operation, "install");
    });
}

TEST_F(JournalTest, TakesEntriesOfSeveralProcessesAtOnce) {
    node.run([] {
        constexpr int writers = 4;
        constexpr int each = 10;
        for (int writer = 0; writer < writers; ++writer) {
            if (fork() == 0) {
                bool good = true;
                for (int i = 0; i < each; ++i) {
                    const auto id = QXAJournal::begin(entryOf("install"));
                    good = good && id > 0 && QXAJournal::end(id, entryOf("install")) == 0;
                }
                _exit(good ? 0 : 1);
            }
        }
        for (int writer = 0; writer < writers; ++writer) {
            int status = 0;
            wait(&status);
            EXPECT_EQ(status, 0);
        }
        EXPECT_EQ(readAll().size(), static_cast<std::size_t>(writers * each));
    });
}

TEST_F(JournalTest, IsMadeByProcessesThatAllFindNone) {
    node.run([] {
        constexpr int rounds = 20;
        constexpr int writers = 4;
        for (int round = 0; round < rounds; ++round) {
            // Writers wait for the end of the pipe, and begin together.
            std::array<int, 2> gate{};
            ASSERT_EQ(pipe(gate.data()), 0);
            for (int writer = 0; writer < writers; ++writer) {
                if (fork() == 0) {
                    close(gate[1]);
                    char nothing = 0;
                    const bool open = read(gate[0], &nothing, 1) == 0;
                    _exit(open && QXAJournal::begin(entryOf("install")) > 0 ? 0 : 1);
                }
            }
            close(gate[0]);
            close(gate[1]);
            for (int writer = 0; writer < writers; ++writer) {
                int status = 0;
                wait(&status);
                EXPECT_EQ(status, 0);
            }
            EXPECT_EQ(readAll().size(), static_cast<std::size_t>(writers));
            for (const char* end : {"", "-wal", "-shm"}) {
                std::filesystem::remove(std::string("/var/lib/qxagent/journal.sqlite") + end);
            }
        }
    });
}

TEST_F(JournalTest, SaysWhyItCannotBeWritten) {
    node.run([] {
        std::filesystem::create_directory("/var/lib/qxagent/journal.sqlite");
        EXPECT_EQ(QXAJournal::begin(entryOf("install")), -1);
        EXPECT_STREQ(QXL::getErrorMessage(),
                     "journal: cannot open '/var/lib/qxagent/journal.sqlite': unable to open "
                     "database file");
    });
}

TEST_F(JournalTest, SaysThatItIsDamaged) {
    node.write("/var/lib/qxagent/journal.sqlite", std::string(8192, 'x'));
    node.run([] {
        std::vector<QXAJournalEntry> entries;
        EXPECT_EQ(QXAJournal::read(entries, 0), -1);
        EXPECT_EQ(QXAJournal::begin(entryOf("install")), -1);
    });
}

TEST_F(JournalTest, RefusesTablesOfANewerVersionAndLeavesThem) {
    node.run([] {
        ASSERT_GT(QXAJournal::begin(entryOf("install")), 0);
        QXL::openDatabase(qxnode::kJournal, QXL::DatabaseMode::create)
            .exec("PRAGMA user_version=1");
        std::vector<QXAJournalEntry> entries;
        EXPECT_EQ(QXAJournal::read(entries, 0), -1);
        EXPECT_STREQ(QXL::getErrorMessage(),
                     "journal: '/var/lib/qxagent/journal.sqlite' (version 1) is of a newer version "
                     "of this program");
        EXPECT_EQ(QXAJournal::begin(entryOf("install")), -1);
        EXPECT_EQ(QXAJournal::end(1, entryOf("install")), -1);
    });
}

TEST(ProcessBirthTest, TellsProcessesApartAndKnowsNoDeadOne) {
    EXPECT_NE(QXL::processBirth(getpid()), "");
    EXPECT_EQ(QXL::processBirth(getpid()), QXL::processBirth(getpid()));
    EXPECT_NE(QXL::processBirth(getpid()), QXL::processBirth(1));
    const pid_t child = fork();
    if (child == 0) {
        _exit(0);
    }
    siginfo_t info{};
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT), 0);
    EXPECT_EQ(QXL::processBirth(child), "") << "dead, though nobody took notice yet";
    waitpid(child, nullptr, 0);
    EXPECT_EQ(QXL::processBirth(child), "");
}

}  // namespace
