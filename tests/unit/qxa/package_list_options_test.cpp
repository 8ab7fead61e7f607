// How list options are digested.
#include "qxa/plugins/QXAPkg/QXAPackageListOptions.h"

#include <gtest/gtest.h>

namespace QXA {
namespace {

QXAPackageListOptions digest(std::vector<std::string> types, unsigned flags, bool first,
                             bool inContainer) {
    QXL::QXLPackageManagerListOptions options(flags);
    options.types = std::move(types);
    return {options, first, inContainer};
}

TEST(PackageListOptions, withoutTypeNamesShowsOsAndApplicationTemplates) {
    EXPECT_EQ(6U, digest({}, 0, true, false).showFlags());
}

TEST(PackageListOptions, eachTypeNameHasItsBit) {
    EXPECT_EQ(1U, digest({"rpm"}, 0, true, false).showFlags());
    EXPECT_EQ(2U, digest({"os"}, 0, true, false).showFlags());
    EXPECT_EQ(4U, digest({"app"}, 0, true, false).showFlags());
    EXPECT_EQ(7U, digest({"app", "rpm", "os", "os"}, 0, true, false).showFlags());
}

TEST(PackageListOptions, unknownTypeNamesAreIgnored) {
    EXPECT_EQ(6U, digest({"deb", "RPM", ""}, 0, true, false).showFlags());
    EXPECT_EQ(1U, digest({"deb", "rpm"}, 0, true, false).showFlags());
}

TEST(PackageListOptions, summaryAndCompatibleAreTheirBitsOfTheFlagWord) {
    EXPECT_TRUE(digest({}, 16, true, false).showSummary());
    EXPECT_FALSE(digest({}, ~16U, true, false).showSummary());
    EXPECT_TRUE(digest({}, 32, true, false).listCompatible());
    EXPECT_FALSE(digest({}, ~32U, true, false).listCompatible());
}

struct StateCase {
    std::vector<std::string> types;
    unsigned flags;
    bool first;
    bool inContainer;
    unsigned state;
};

class ListState : public testing::TestWithParam<StateCase> {};

TEST_P(ListState, isMadeOfTypesRequestAndTarget) {
    const auto& param = GetParam();
    EXPECT_EQ(param.state,
              digest(param.types, param.flags, param.first, param.inContainer).state());
}

INSTANTIATE_TEST_SUITE_P(
    cases, ListState,
    testing::Values(
        // A request that names packages, in a container: application bit, then included or
        // compatible packages.
        StateCase{{"os"}, 0, false, true, 0}, StateCase{{"app"}, 0, false, true, 16},
        StateCase{{"rpm"}, 0, false, true, 32}, StateCase{{"rpm"}, 32, false, true, 64},
        StateCase{{"rpm", "app"}, 0, false, true, 48}, StateCase{{"rpm", "os"}, 0, false, true, 32},
        StateCase{{"rpm", "os"}, 32, false, true, 64},
        // The same on the node adds the node's bits.
        StateCase{{"os"}, 0, false, false, 8}, StateCase{{"app"}, 0, false, false, 16},
        StateCase{{"rpm"}, 0, false, false, 32}, StateCase{{"rpm"}, 32, false, false, 64},
        StateCase{{"rpm", "os"}, 0, false, false, 40},
        StateCase{{"rpm", "os", "app"}, 32, false, false, 88}, StateCase{{}, 0, false, false, 24},
        // Without names, in a container: the kinds themselves.
        StateCase{{"rpm"}, 0, true, true, 1}, StateCase{{}, 0, true, true, 6},
        StateCase{{"rpm", "os", "app"}, 32, true, true, 7},
        StateCase{{"rpm", "os"}, 0, true, true, 3},
        // Without names, on the node: only the node's bits.
        StateCase{{"rpm"}, 0, true, false, 0}, StateCase{{"os"}, 0, true, false, 8},
        StateCase{{"app"}, 0, true, false, 16}, StateCase{{}, 0, true, false, 24}));

}  // namespace
}  // namespace QXA
