// The fakes themselves: they record, script and keep tests apart.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QXL/QXLError.h"
#include "QXL/QXLPkgMLocal.h"
#include "tests/fakes/fake_platform.h"
#include "tests/fakes/qxtt_fake.h"

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

TEST(Poison, isInEveryFieldOfATemplateButItsReaders) {
    char text[] = "text";
    char* list[] = {text, nullptr};
    const tmpl_info whole{text, text, text, text, text, text, list,
                          list, list, list, {},   list, {},   text};
    const auto described = poisoned(whole, TemplateReader::kDescription);
    EXPECT_STREQ("text", described.os_name);
    EXPECT_STREQ("POISON", described.packaging);
    EXPECT_STREQ("POISON", described.packages[0]);
    const auto listed = poisoned(whole, TemplateReader::kListing);
    EXPECT_STREQ("text", listed.name);
    EXPECT_STREQ("POISON", listed.os_name);
    EXPECT_STREQ("POISON", listed.description[0]);
    const auto lists = poisoned(whole, TemplateReader::kPackageLists);
    EXPECT_STREQ("text", lists.packages[0]);
    EXPECT_STREQ("POISON", lists.name);
    EXPECT_STREQ("POISON", static_cast<const char*>(lists.reserved10[4]));
    EXPECT_STREQ("POISON", static_cast<const char*>(lists.reserved16[1]));
}

TEST(FakePlatformDeathTest, refusesCallsOutsideATest) {
    EXPECT_DEATH(QXL::envCache(), "outside a test that has a FakePlatform");
}

}  // namespace
}  // namespace fakes
