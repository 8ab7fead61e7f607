// The fakes themselves: they record, script and keep tests apart.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QXL/QXLError.h"
#include "QXL/QXLPkgMLocal.h"
#include "tests/fakes/fake_platform.h"

namespace fakes {
namespace {

using testing::ElementsAre;

TEST(FakePlatform, scriptsResultsPerCallAndThenAnswers0) {
    FakePlatform platform;
    platform.temResults["cache"] = {3, 4};
    QXA::QXATEMLocal manager(nullptr);
    EXPECT_EQ(3, manager.cache({}));
    EXPECT_EQ(4, manager.cache({}));
    EXPECT_EQ(0, manager.cache({}));
}

TEST(FakePlatform, runsScriptedPrograms) {
    FakePlatform platform;
    platform.execScripts = {{27, {"one", "two"}, "refused"}};
    std::vector<std::string> lines;
    const auto collect = [](void* context, const char* line) {
        static_cast<std::vector<std::string>*>(context)->emplace_back(line);
        return true;
    };
    EXPECT_EQ(27, QXL::QXLPkgMLocal::exec({"tool", "a b"}, collect, &lines));
    EXPECT_THAT(lines, ElementsAre("one", "two"));
    EXPECT_STREQ("refused", QXL::getErrorMessage());
    EXPECT_THAT(platform.calls, ElementsAre("exec [tool] [a b]"));
}

TEST(FakePlatform, sharesNothingWithTheNextOne) {
    {
        FakePlatform first;
        first.hasCache = false;
        QXL::setErrorMessage("of the first");
    }
    const FakePlatform second;
    EXPECT_NE(nullptr, QXL::envCache());
    EXPECT_STREQ("", QXL::getErrorMessage());
}

TEST(FakePlatform, takesMessagesWhoseArgumentsAreTheStoredText) {
    const FakePlatform platform;
    QXL::setErrorMessage("%s", std::string(10000, 'x').c_str());
    QXL::setErrorMessage("before %s", QXL::getErrorMessage());
    EXPECT_EQ("before " + std::string(10000, 'x'), QXL::getErrorMessage());
}

TEST(FakePlatformDeathTest, refusesCallsOutsideATest) {
    EXPECT_DEATH(QXL::envCache(), "outside a test that has a FakePlatform");
}

}  // namespace
}  // namespace fakes
