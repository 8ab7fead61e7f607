// Work in child processes: what comes back of it, in which order, and how it is stopped.
#include "base/child_pool.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>

#include "base/content.h"

namespace {

using base::ChildResult;

int say(int output, const std::string& text) {
    return base::writeContent(output, text) ? 0 : 1;
}

TEST(ChildPoolTest, HandsResultsBackInTheOrderOfTheirPlaces) {
    std::string heard;
    base::runChildren(
        5, 3,
        [](std::size_t place, int output) {
            say(output, std::to_string(place));
            return static_cast<int>(10 + place);
        },
        [&](std::size_t place, const ChildResult& result) {
            heard += std::to_string(place) + "=" + result.text + ":" +
                     std::to_string(result.exitCode()) + " ";
        });
    EXPECT_EQ(heard, "0=0:10 1=1:11 2=2:12 3=3:13 4=4:14 ");
}

TEST(ChildPoolTest, OneThatDiesKeepsWhatItSaidAndTakesNoOtherWithIt) {
    std::string heard;
    base::runChildren(
        2, 2,
        [](std::size_t place, int output) {
            say(output, "begun");
            return place == 0 ? raise(SIGKILL) : 0;
        },
        [&](std::size_t, const ChildResult& result) {
            heard += result.text + ", " + result.reason() + "; ";
        });
    EXPECT_EQ(heard, "begun, ended by signal 9 (Killed); begun, exited with code 0; ");
}

TEST(ChildPoolTest, StartsNothingForNothing) {
    base::runChildren(
        0, 4, [](std::size_t, int) -> int { std::abort(); },
        [](std::size_t, const ChildResult&) { FAIL(); });
}

TEST(ChildPoolTest, CancellingEndsWhatRunsAndStartsNoMore) {
    std::size_t heard = 0;
    int asked = 0;
    base::runChildren(
        3, 1, [](std::size_t, int) { return pause(); },
        [&](std::size_t, const ChildResult& result) {
            ++heard;
            EXPECT_EQ(result.reason(), "ended by signal 15 (Terminated)");
        },
        [&] { return ++asked > 1; });
    EXPECT_EQ(heard, 1U);
}

}  // namespace
