// Tables and details on a terminal or in a file: texts of packages stay texts.
#include "tools/qxa/print.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/capture.h"

namespace qxa {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

PackageView hostile() {
    PackageView view;
    view.name = "evil\033]0;title\007";
    view.version = "1\nroot 2";
    view.kind = "package";
    view.summary = "gone\033[2J";
    view.description = "one\n\ttwo\rthree\033[A\n";
    return view;
}

TEST(PrintTest, detailsSteerNoTerminalAndInventNoField) {
    const auto said = qx_test::captured([] { printPackageDetails({hostile()}); });
    EXPECT_THAT(said.out, Not(HasSubstr("\033")));
    EXPECT_THAT(said.out, AllOf(HasSubstr("evil\\x1b]0;title\\x07\n"), HasSubstr("1\\x0aroot 2\n"),
                                HasSubstr("one\n\ttwo\\x0dthree\\x1b[A\n")));
}

TEST(PrintTest, aTableHasOneLineForEachPackage) {
    const auto said = qx_test::captured([] { printPackageTable({hostile()}, true); });
    EXPECT_THAT(said.out, AllOf(Not(HasSubstr("\033")), HasSubstr("1\\x0aroot 2")));
    EXPECT_EQ(2, std::count(said.out.begin(), said.out.end(), '\n')) << said.out;
}

TEST(PrintTest, aReasonIsOneLine) {
    const auto said =
        qx_test::captured([] { printFailure({}, "install", "a\nqxa: done\033[m", kExitFailed); });
    EXPECT_EQ("qxa: install: a\\x0aqxa: done\\x1b[m\n", said.err);
}

}  // namespace
}  // namespace qxa
