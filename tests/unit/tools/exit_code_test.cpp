// Which exit code stands for which result of a request.
#include "tools/qxa/exit_code.h"

#include <gtest/gtest.h>

#include "QXL/QXLLockPolicy.h"

namespace qxa {
namespace {

struct Case {
    const char* name;
    RequestResult result;
    ExitCode expected;
};

class ExitCodeOf : public testing::TestWithParam<Case> {};

TEST_P(ExitCodeOf, tellsHowTheRequestEnded) {
    EXPECT_EQ(GetParam().expected, exitCodeOf(GetParam().result));
}

INSTANTIATE_TEST_SUITE_P(
    results, ExitCodeOf,
    testing::Values(
        Case{"success", {0, "", 0, true}, kExitDone},
        Case{"successOnAnUnknownTarget", {0, "", 0, false}, kExitDone},
        Case{"genericFailure", {-1, "", 0, true}, kExitFailed},
        Case{"installFailure", {3501, "", 0, true}, kExitFailed},
        Case{"unreadableInformation", {1, "", 0, true}, kExitFailed},
        Case{"accessDenied", {414, "", 0, true}, kExitDenied},
        Case{"accessDeniedOnAnUnknownTarget", {414, "", 0, false}, kExitDenied},
        Case{"unknownTarget", {-1, "Unknown eid", 0, false}, kExitUnknownTarget},
        Case{"unknownTargetOfAnInstall", {3501, "Unknown eid", 0, false}, kExitUnknownTarget},
        Case{"removalRefused", {3502, "", 0, true}, kExitRefused},
        Case{"updateRefused", {3503, "", 0, true}, kExitRefused},
        Case{"damagedFile", {3509, "", 0, true}, kExitRefused},
        Case{"conflict", {3510, "", 0, true}, kExitRefused},
        Case{"unknownCollection", {3511, "", 0, true}, kExitRefused},
        Case{"templateManagerConflict", {-7, "", 0, true}, kExitRefused},
        Case{"toolRefusal", {27, "", 0, true}, kExitRefused},
        Case{"templateInUse", {-1, "some Containers use package(s) a/1", 0, true}, kExitRefused},
        Case{"lockTimeoutOfTheNode", {3501, "", QXL::kErrorLockTimeout, true}, kExitLockTimeout},
        Case{"lockTimeoutOfTheTool", {75, "", 0, true}, kExitLockTimeout}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(Worse, isTheGraverOfTwoExitCodesInEitherOrder) {
    EXPECT_EQ(kExitFailed, worse(kExitDone, kExitFailed));
    EXPECT_EQ(kExitFailed, worse(kExitFailed, kExitRefused));
    EXPECT_EQ(kExitDenied, worse(kExitDenied, kExitUnknownTarget));
    EXPECT_EQ(kExitUnknownTarget, worse(kExitLockTimeout, kExitUnknownTarget));
}

TEST(Worse, ofEqualCodesIsThatCode) {
    EXPECT_EQ(kExitDone, worse(kExitDone, kExitDone));
}

}  // namespace
}  // namespace qxa
