// What qxfsutil prints of names that others chose.
#include "tools/qxfsutil/report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qxfsutil {
namespace {

qxfs::Finding findingAt(const std::string& path) {
    qxfs::Finding finding;
    finding.code = qxfs::FindingCode::entryGone;
    finding.path = path;
    finding.detail = "because of\n" + path;
    return finding;
}

TEST(Report, aLineOfTextIsOneLineWhateverNamesHold) {
    const auto text = findingAsText("/area\nother", findingAt("/a\033[2J\n/area: clean"));
    EXPECT_EQ(1, std::count(text.begin(), text.end(), '\n')) << text;
    EXPECT_THAT(text, testing::Not(testing::HasSubstr("\033")));
}

TEST(Report, jsonTellsNamesApartThatAreNoUtf8) {
    const auto one = findingAsJson("area", findingAt("/\xff"));
    const auto other = findingAsJson("area", findingAt("/\xfe"));
    const auto spelled = findingAsJson("area", findingAt("/\\xff"));
    EXPECT_NE(one, other);
    EXPECT_NE(one, spelled);
    EXPECT_THAT(one, testing::HasSubstr(R"("path":"/\\xff")"));
    EXPECT_THAT(spelled, testing::HasSubstr(R"("path":"/\\\\xff")"));
}

}  // namespace
}  // namespace qxfsutil
