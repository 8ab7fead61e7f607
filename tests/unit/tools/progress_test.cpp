// What a terminal shows of a request at work.
#include "tools/qxa/progress.h"

#include <gtest/gtest.h>

namespace qxa {
namespace {

using std::chrono::seconds;

TEST(ProgressLine, theFirstSecondShowsNoTime) {
    EXPECT_EQ(progressLine("install on 102", seconds(0)), "qxa: install on 102 ...");
}

TEST(ProgressLine, timesAreInMinutesAndSeconds) {
    EXPECT_EQ(progressLine("x", seconds(7)), "qxa: x ... 7 s");
    EXPECT_EQ(progressLine("x", seconds(65)), "qxa: x ... 1 min 5 s");
    EXPECT_EQ(progressLine("x", seconds(120)), "qxa: x ... 2 min 0 s");
}

}  // namespace
}  // namespace qxa
