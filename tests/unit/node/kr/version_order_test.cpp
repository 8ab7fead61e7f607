// Orders of versions, compared with what the engines say.
#include "node/kr/version_order.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/subprocess.h"
#include "tests/support/real_packages.h"

namespace qxnode {
namespace {

const std::vector<std::string> kVersions{
    "1",       "1.0",     "1.00",  "1.0-1",  "1.0-10", "1.0-2", "1.0~rc1-1", "1.0~~-1", "1.0~-1",
    "2:0.1-1", "0:1.0-1", "1.0a",  "1.0.a",  "1.0+b",  "1.0.1", "1.a",       "1.A",     "1.ab",
    "10",      "09",      "9",     "1..0",   "1.0.",   "1.0^1", "1.0^",      "1.0^1~2", "1.0-1.el9",
    "1.0-1~x", "1_0",     "1.0a1", "1.0a10", "1.0a2",  "001.0", "1.0+git20", "1.0+git3"};

int sign(int value) {
    return value < 0 ? -1 : (value > 0 ? 1 : 0);
}

TEST(VersionOrder, ofDebsIsTheEngines) {
    QX_SKIP_WITHOUT_DEB();
    for (const std::string& a : kVersions) {
        for (const std::string& b : kVersions) {
            if ((a + b).find_first_of("^_") != std::string::npos) {
                continue;  // not allowed in a deb's version
            }
            const int order = sign(compareDebVersions(a, b));
            const char* relation = order < 0 ? "lt" : (order > 0 ? "gt" : "eq");
            EXPECT_TRUE(
                base::runProcess({"dpkg", "--compare-versions", a, relation, b}).succeeded())
                << a << " " << relation << " " << b;
        }
    }
}

TEST(VersionOrder, ofRpmsIsTheEngines) {
    QX_SKIP_WITHOUT_RPM();
    std::string program;
    std::vector<int> expected;
    for (const std::string& a : kVersions) {
        for (const std::string& b : kVersions) {
            expected.push_back(sign(compareRpmVersions(a, b)));
            program += "print(rpm.vercmp('" + a + "', '" + b + "') .. ' ')";
        }
    }
    const auto lines = qx_test::run_program({"rpm", "--eval", "%{lua:" + program + "}"});
    ASSERT_EQ(lines.size(), 1U);
    std::size_t at = 0;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        std::size_t used = 0;
        const int engines = std::stoi(lines[0].substr(at), &used);
        at += used;
        EXPECT_EQ(expected[i], engines)
            << kVersions[i / kVersions.size()] << " against " << kVersions[i % kVersions.size()];
    }
}

TEST(VersionOrder, ofRpmsWithEpochsLooksAtThemFirst) {
    EXPECT_GT(compareRpmVersions("1:0.1-1", "9.0-1"), 0);
    EXPECT_EQ(compareRpmVersions("0:1.0-1", "1.0-1"), 0);
}

}  // namespace
}  // namespace qxnode
