// Where qxa has its tools looked for.
#include "tools/qxa/tool_path.h"

#include <gtest/gtest.h>

namespace qxa {
namespace {

TEST(ToolPath, hasTheFolderBeforeWhatIsInstalled) {
    EXPECT_EQ("/b:/usr/sbin:/usr/bin:/sbin:/bin", pathWith("/usr/sbin:/usr/bin:/sbin:/bin", "/b"));
    EXPECT_EQ("/b:/bin", pathWith("/bin", "/b"));
}

TEST(ToolPath, keepsInFrontWhatSomebodyPutThere) {
    EXPECT_EQ("/tmp/x:/home/y:/b:/usr/local/bin:/z",
              pathWith("/tmp/x:/home/y:/usr/local/bin:/z", "/b"));
    EXPECT_EQ("/binary:/b", pathWith("/binary", "/b"));
}

TEST(ToolPath, staysWhenItHoldsTheFolder) {
    EXPECT_EQ("/usr/bin:/b:/bin", pathWith("/usr/bin:/b:/bin", "/b"));
}

TEST(ToolPath, keepsEmptyFoldersWhichMeanTheCurrentOne) {
    EXPECT_EQ(":/b:/usr/bin", pathWith(":/usr/bin", "/b"));
}

TEST(ToolPath, isTheFolderWhenThereIsNothingElse) {
    EXPECT_EQ("/b", pathWith("", "/b"));
}

}  // namespace
}  // namespace qxa
