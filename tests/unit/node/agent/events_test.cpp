// Configuration-update events, from the sender to every listener.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "QXA/QXAEventListener.h"
#include "QXA/QXANotifications.h"
#include "QXL/QXLConfiguration.h"
#include "QXL/QXLError.h"
#include "node/agent/event_text.h"
#include "tests/support/test_node.h"

namespace {

namespace fs = std::filesystem;
using qx_test::TestNode;
using QXA::QXAEvent;
using QXA::QXAEventListener;
using QXA::QXANotifications;
using QXL::QXLEID;

constexpr const char* kFolder = "/var/lib/qxagent/listeners";

int send(int veid, const QXLEID& eid = QXLEID::EID_INVALID) {
    return QXANotifications(eid, nullptr).sendCommandConfUpdate(veid);
}

std::ptrdiff_t sockets() {
    return fs::exists(kFolder) ? std::distance(fs::directory_iterator(kFolder), {}) : 0;
}

/// A socket that nobody listens at any more.
void leaveDeadSocket(const std::string& path) {
    const int fd = socket(AF_UNIX, SOCK_DGRAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    ASSERT_EQ(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    close(fd);
}

class EventsTest : public testing::Test {
protected:
    void SetUp() override { QX_SKIP_WITHOUT_TEST_NODE(); }

    TestNode node;
};

TEST_F(EventsTest, ReachEveryListenerWithTheContainersNumber) {
    node.run([] {
        QXAEventListener first;
        QXAEventListener second;
        ASSERT_TRUE(first.ready()) << QXL::getErrorMessage();
        EXPECT_EQ(send(101), 0);
        for (auto* listener : {&first, &second}) {
            QXAEvent event;
            ASSERT_EQ(listener->next(event, 10000), 1);
            EXPECT_EQ(event.kind, "confupdate");
            EXPECT_EQ(event.veid, 101);
            EXPECT_EQ(event.time.size(), std::strlen("2026-11-20T20:00:00+0000"));
        }
    });
}

TEST_F(EventsTest, ArriveInTheOrderInWhichTheyWereSent) {
    node.run([] {
        QXAEventListener listener;
        send(1);
        send(2);
        QXAEvent event;
        ASSERT_EQ(listener.next(event, 10000), 1);
        EXPECT_EQ(event.veid, 1);
        ASSERT_EQ(listener.next(event, 10000), 1);
        EXPECT_EQ(event.veid, 2);
    });
}

TEST_F(EventsTest, NeedNoListener) {
    node.run([] {
        EXPECT_EQ(send(101), 0) << "no folder";
        { const QXAEventListener gone; }
        EXPECT_EQ(send(101), 0) << "an empty folder";
    });
}

TEST_F(EventsTest, AreForListenersOfThisNodeOnly) {
    node.run([] {
        EXPECT_EQ(send(1, QXLEID::EID_LOCAL), 0);
        EXPECT_EQ(send(1, QXL::QXLConfiguration::getLocalEID()), 0);
        const char* other = "33333333-0000-4000-8000-000000000001";
        EXPECT_NE(send(1, QXLEID::fromString(other)), 0);
        EXPECT_NE(QXL::getLastErrorData().message.find(other), std::string::npos);
    });
}

TEST_F(EventsTest, TakeAwaySocketsOfDeadListeners) {
    node.run([] {
        const QXAEventListener living;
        leaveDeadSocket(std::string(kFolder) + "/1-0.sock");
        ASSERT_EQ(sockets(), 2);
        EXPECT_EQ(send(101), 0);
        EXPECT_EQ(sockets(), 1);
    });
}

TEST_F(EventsTest, LeaveOtherFilesInTheFolderAlone) {
    node.write(std::string(kFolder) + "/notes", "x");
    node.run([] {
        EXPECT_EQ(send(101), 0);
        EXPECT_TRUE(fs::exists(std::string(kFolder) + "/notes"));
    });
}

TEST_F(EventsTest, DoNotWaitForAListenerThatDoesNotKeepUp) {
    node.run([] {
        QXAEventListener slow;
        for (int veid = 1; veid <= 5000; ++veid) {
            ASSERT_EQ(send(veid), 0);
        }
        QXAEvent event;
        ASSERT_EQ(slow.next(event, 10000), 1);
        EXPECT_EQ(event.veid, 1);
        EXPECT_EQ(sockets(), 1) << "it listens still";
    });
}

TEST_F(EventsTest, GiveNothingWhenTheTimeIsUp) {
    node.run([] {
        QXAEventListener listener;
        QXAEvent event;
        EXPECT_EQ(listener.next(event, 0), 0);
        EXPECT_EQ(listener.next(event, 10), 0);
    });
}

TEST_F(EventsTest, LeaveNoSocketBehindAListener) {
    node.run([] {
        {
            const QXAEventListener listener;
            EXPECT_EQ(sockets(), 1);
        }
        EXPECT_EQ(sockets(), 0);
    });
}

TEST_F(EventsTest, CannotBeHeardWhereNoSocketCanBeMade) {
    node.write(kFolder, "a file in its place");
    node.run([] {
        QXAEventListener listener;
        EXPECT_FALSE(listener.ready());
        EXPECT_NE(std::string(QXL::getErrorMessage()).find("cannot listen at '"),
                  std::string::npos);
        QXAEvent event;
        EXPECT_EQ(listener.next(event, 0), -1);
    });
}

TEST(EventTextTest, ReadsBackAsItWasWritten) {
    const auto event = QXA::parseEvent(QXA::eventText({"confupdate", 101, "now"}));
    ASSERT_TRUE(event);
    EXPECT_EQ(event->kind, "confupdate");
    EXPECT_EQ(event->veid, 101);
    EXPECT_EQ(event->time, "now");
}

TEST(EventTextTest, TakesNothingElseForAnEvent) {
    using std::string_literals::operator""s;
    for (const std::string& text :
         {""s, "confupdate"s, "confupdate 1"s, "confupdate  now"s, "confupdate x now"s,
          "confupdate 1x now"s, "confupdate 99999999999 now"s, " 1 now"s, "confupdate 1 "s,
          "confupdate 1 n\now"s, "conf\0date 1 now"s}) {
        EXPECT_FALSE(QXA::parseEvent(text)) << text;
    }
}

}  // namespace
