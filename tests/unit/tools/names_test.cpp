// Names on the command line and the records that they become.
#include "tools/qxa/names.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "QXA/QXAPackageQXTemplate.h"
#include "tools/qxa/package_view.h"

namespace qxa {
namespace {

using QXA::QXAPackageQXTemplate;
using QXA::QXAPackageQXTemplateStd;

template <typename Record>
std::shared_ptr<Record> as(const std::shared_ptr<QXL::QXLPackage>& record) {
    return std::dynamic_pointer_cast<Record>(record);
}

TEST(RecordOf, aNameWithADotIsAKrOsTemplate) {
    const auto record = as<QXAPackageQXTemplate>(recordOf(".debian-12", {}));

    ASSERT_NE(nullptr, record);
    EXPECT_EQ(nullptr, as<QXAPackageQXTemplateStd>(record));
    EXPECT_TRUE(record->isOsTemplate);
    EXPECT_EQ(".debian-12", record->name);
}

TEST(RecordOf, aDottedPathIsAKrApplicationTemplateOfItsOs) {
    const auto record = as<QXAPackageQXTemplate>(recordOf(".debian-12/web", {}));

    ASSERT_NE(nullptr, record);
    EXPECT_FALSE(record->isOsTemplate);
    EXPECT_EQ(".web", record->name);
    EXPECT_EQ(".debian-12", record->os.osName);
}

TEST(RecordOf, aNameAndAVersionAreAStandardTemplate) {
    const auto record = as<QXAPackageQXTemplateStd>(recordOf("base/1:2.0-3", {}));

    ASSERT_NE(nullptr, record);
    EXPECT_EQ("base", record->name);
    EXPECT_EQ("1:2.0-3", record->version);
}

TEST(RecordOf, aBareNameIsAStandardTemplateWherePackagesAreNotMeant) {
    const auto record = as<QXAPackageQXTemplateStd>(recordOf("base", {}));

    ASSERT_NE(nullptr, record);
    EXPECT_EQ("base", record->name);
    EXPECT_EQ("", record->version);
}

TEST(RecordOf, aBareNameIsADebianPackageOfTheContainersOs) {
    const auto record = as<QXL::QXLPackageDeb>(recordOf("hello", {true, true, ".debian-12"}));

    ASSERT_NE(nullptr, record);
    EXPECT_EQ("hello", record->name);
    EXPECT_EQ(".debian-12", record->os.osName);
}

TEST(RecordOf, aBareNameIsAnRpmPackageWhereTheContainerHasNoDebianDatabase) {
    EXPECT_NE(nullptr, as<QXL::QXLPackageRpm>(recordOf("hello", {true, false, ".el-9"})));
}

TEST(RecordOf, withoutAnOsTheOsNameStaysUnset) {
    EXPECT_FALSE(recordOf("hello", {true, true, ""})->os.osName.has_value());
}

class RequestName : public testing::TestWithParam<const char*> {};

TEST_P(RequestName, ofARecordIsTheNameThatItWasMadeFrom) {
    EXPECT_EQ(GetParam(), requestName(*recordOf(GetParam(), {})));
}

INSTANTIATE_TEST_SUITE_P(names, RequestName,
                         testing::Values("base", "base/1", ".debian-12", ".debian-12/web"));

TEST(IsPath, isTrueForPathsThatSaySo) {
    EXPECT_TRUE(isPath("/tmp/a.tar.gz"));
    EXPECT_TRUE(isPath("./a"));
    EXPECT_TRUE(isPath("../a"));
}

TEST(IsPath, isFalseForNamesOfTemplates) {
    EXPECT_FALSE(isPath("base/1"));
    EXPECT_FALSE(isPath(".debian-12"));
    EXPECT_FALSE(isPath("no-such-file.tar.gz"));
}

TEST(IsPath, isTrueForAnArchiveInTheWorkingDirectory) {
    const std::string name = "qxa-names-test.tar.zst";
    std::ofstream(name) << "x";

    const bool path = isPath(name);

    std::filesystem::remove(name);
    EXPECT_TRUE(path);
}

TEST(IsArchiveName, goesByTheEndingWhetherTheFileIsThereOrNot) {
    EXPECT_TRUE(isArchiveName("no-such-file.tar.gz"));
    EXPECT_FALSE(isArchiveName("base/1"));
}

TEST(InstallationsOf, turnFilesIntoAbsolutePathsAndNamesIntoRecords) {
    const auto elements = installationsOf({"./a.tar.gz", "base/1"}, {});

    ASSERT_EQ(2U, elements.size());
    EXPECT_EQ(nullptr, elements[0]->package);
    EXPECT_EQ(std::filesystem::current_path() / "a.tar.gz", elements[0]->path);
    EXPECT_EQ("", elements[1]->path);
    EXPECT_EQ("base", elements[1]->package->name);
}

}  // namespace
}  // namespace qxa
