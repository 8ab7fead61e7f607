// Command lines of the KR tool: their words, their runs, and the lines that they print.
#include "qxa/plugins/QXAPkg/QXAPkgExec.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "qxa/plugins/QXAPkg/QXAKRPackages.h"
#include "tests/unit/qxa/kr_fixture.h"

namespace QXA {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const auto kLocal = QXL::QXLEID::EID_LOCAL;
const auto kNone = QXL::QXLEID::EID_INVALID;

// --- words

TEST(ExecArguments, startWithTheProgramTheCommandAndQuiet) {
    EXPECT_THAT(makeExecArguments("install", 0, kNone), ElementsAre("qxpkg", "install", "-q"));
}

TEST(ExecArguments, nameTheNodesTemplates) {
    EXPECT_THAT(makeExecArguments("remove", 0, kLocal),
                ElementsAre("qxpkg", "remove", "template", "-q"));
}

TEST(ExecArguments, nameTemplatesForTheLocalEidAlone) {
    const auto container = QXL::QXLEID::fromString("20000000-0000-0000-0000-000000000101");
    EXPECT_THAT(makeExecArguments("remove", 0, container), ElementsAre("qxpkg", "remove", "-q"));
    EXPECT_THAT(makeExecArguments("remove", 0, kNone), ElementsAre("qxpkg", "remove", "-q"));
}

TEST(ExecArguments, ofFetchNeverNameTemplates) {
    EXPECT_THAT(makeExecArguments("fetch", 0, kLocal), ElementsAre("qxpkg", "fetch", "-q"));
}

TEST(ExecArguments, haveOneSwitchForEachFlag) {
    EXPECT_THAT(makeExecArguments("update", 1, kNone), ElementsAre("qxpkg", "update", "-q", "-C"));
    EXPECT_THAT(makeExecArguments("update", 2, kNone), ElementsAre("qxpkg", "update", "-q", "-n"));
    EXPECT_THAT(makeExecArguments("update", 4, kNone), ElementsAre("qxpkg", "update", "-q", "-w"));
    EXPECT_THAT(makeExecArguments("update", 8, kNone), ElementsAre("qxpkg", "update", "-q", "-f"));
}

TEST(ExecArguments, haveTheSwitchesInOrder) {
    EXPECT_THAT(makeExecArguments("update", 15, kLocal),
                ElementsAre("qxpkg", "update", "template", "-q", "-C", "-n", "-w", "-f"));
    EXPECT_THAT(makeExecArguments("remove", 15 & 14, kNone),
                ElementsAre("qxpkg", "remove", "-q", "-n", "-w", "-f"));
}

TEST(ExecArguments, haveNoSwitchesForOtherOrNegativeFlags) {
    EXPECT_THAT(makeExecArguments("update", 16, kNone), ElementsAre("qxpkg", "update", "-q"));
    EXPECT_THAT(makeExecArguments("update", -1, kNone), ElementsAre("qxpkg", "update", "-q"));
}

TEST(Join, putsItsSeparatorBetweenTwoTexts) {
    EXPECT_EQ("a, b", join(", ")("a", "b"));
    EXPECT_EQ(" b", join(" ")("", "b"));
}

// --- runs

class Exec : public KRNode {
protected:
    struct Handler {
        std::vector<std::string> lines;
        bool answer = true;
        bool operator()(const char* line) {
            lines.emplace_back(line);
            return answer;
        }
    };
};

TEST_F(Exec, runsTheProgramWithEachWordInOrder) {
    EXPECT_EQ(0, execCommand({"qxpkg", "fetch", "-q", "a b", ""}));
    EXPECT_THAT(commands(), ElementsAre("exec [qxpkg] [fetch] [-q] [a b] []"));
    EXPECT_EQ("", m_platform.errorMessage);
}

TEST_F(Exec, givesTheCodeBackAsItIs) {
    m_platform.execScripts = {{27, {}, "refused"}, {33, {}, "foreign"}, {-1, {}, "no program"}};
    EXPECT_EQ(27, execCommand({"qxpkg"}));
    EXPECT_EQ(33, execCommand({"qxpkg"}));
    EXPECT_EQ(-1, execCommand({"qxpkg"}));
}

TEST_F(Exec, namesTheCommandLineAndTheReasonOfAFailure) {
    m_platform.execScripts = {{1, {}, "no space left"}};
    EXPECT_EQ(1, execCommand(makeExecArguments("clean", 0, kNone)));
    EXPECT_EQ("' qxpkg clean -q' exec failed - no space left", m_platform.errorMessage);
}

TEST_F(Exec, namesAFailureOfARunWhoseOutputIsParsed) {
    m_platform.execScripts = {{1, {"a x 1"}, "%s%n"}};
    EXPECT_EQ(1, execCommand({"qxpkg", "%s"}, &parsePackageLine, &m_out));
    EXPECT_EQ("' qxpkg %s' exec failed - %s%n", m_platform.errorMessage);
    EXPECT_THAT(textsOf(m_out), ElementsAre("a 1"));
}

TEST_F(Exec, parsesEachLineIntoTheOutput) {
    m_platform.execScripts = {{0, {"Installed:", "a x 1", "", "b x 2"}, ""}};
    EXPECT_EQ(0, execCommand({"qxpkg"}, &parsePackageLine, &m_out));
    EXPECT_THAT(textsOf(m_out), ElementsAre("a 1", "b 2"));
}

TEST_F(Exec, ignoresTheOutputWithoutAList) {
    m_platform.execScripts = {{0, {"a x 1"}, ""}};
    EXPECT_EQ(0, execCommand({"qxpkg"}, &parsePackageLine, nullptr));
    EXPECT_THAT(commands(), ElementsAre("exec [qxpkg]"));
}

TEST_F(Exec, handsEachLineToTheHandler) {
    Handler handler;
    m_platform.execScripts = {{0, {"one", "two"}, ""}};
    EXPECT_EQ(0, QXLPkgLocalExecHelperT<Handler>(handler).exec({"tool"}));
    EXPECT_THAT(handler.lines, ElementsAre("one", "two"));
}

TEST_F(Exec, goesOnWhateverTheHandlerAnswers) {
    Handler handler;
    handler.answer = false;
    QXLPkgLocalExecHelperT<Handler> helper(handler);
    EXPECT_TRUE(QXLPkgLocalExecHelperT<Handler>::execEntryPoint(&helper, "one"));
    EXPECT_THAT(handler.lines, ElementsAre("one"));
}

TEST_F(Exec, refusesALineWithoutAContext) {
    EXPECT_FALSE(QXLPkgLocalExecHelperT<Handler>::execEntryPoint(nullptr, "one"));
}

TEST_F(Exec, stubTakesEveryLine) {
    EXPECT_TRUE(QXLPkgLocalExecStub()("a line"));
}

// --- words of a line

TEST(NextToken, skipsDelimitersAndEndsAtTheNext) {
    const char* const text = " \t one\ttwo";
    const char* start = text;
    const char* end = nullptr;
    EXPECT_TRUE(nextToken(start, end, " \t"));
    EXPECT_EQ("one", std::string(start, end));
    start = end;
    EXPECT_TRUE(nextToken(start, end, " \t"));
    EXPECT_EQ("two", std::string(start, end));
    EXPECT_EQ('\0', *end);
    start = end;
    EXPECT_FALSE(nextToken(start, end, " \t"));
}

TEST(NextToken, findsNoneBetweenDelimiters) {
    const char* start = " \t ";
    const char* end = nullptr;
    EXPECT_FALSE(nextToken(start, end, " \t"));
    EXPECT_EQ(start, end);
}

// --- package lines

class PackageLine : public testing::Test {
protected:
    std::vector<std::string> parse(const char* line) {
        m_out.clear();
        EXPECT_TRUE(parsePackageLine(m_out, line));
        return textsOf(m_out);
    }
    QXL::QXLPackageList m_out;
};

TEST_F(PackageLine, givesNameAndVersion) {
    EXPECT_THAT(parse("shell amd64 5.1-2"), ElementsAre("shell 5.1-2"));
    EXPECT_NE(nullptr, dynamic_cast<const QXL::QXLPackageRpm*>(m_out[0].get()));
    EXPECT_EQ("Linux", m_out[0]->os.platform);
    EXPECT_FALSE(m_out[0]->os.osName.has_value());
    EXPECT_EQ("", m_out[0]->architecture);
}

TEST_F(PackageLine, leavesOutTheFourthWord) {
    EXPECT_THAT(parse("shell amd64 5.1 more"), ElementsAre("shell 5.1"));
}

TEST_F(PackageLine, ofOneOrTwoWordsHasNoVersion) {
    EXPECT_THAT(parse("shell"), ElementsAre("shell"));
    EXPECT_THAT(parse("shell amd64"), ElementsAre("shell"));
    EXPECT_THAT(parse("shell amd64 "), ElementsAre("shell"));
}

TEST_F(PackageLine, isSplitAtBlanksAndTabs) {
    EXPECT_THAT(parse("\t shell\tamd64  5.1\t"), ElementsAre("shell 5.1"));
}

TEST_F(PackageLine, thatIsAHeadingIsIgnored) {
    EXPECT_THAT(parse("Installed:"), IsEmpty());
    EXPECT_THAT(parse("Installed packages:"), IsEmpty());
    EXPECT_THAT(parse(":"), IsEmpty());
}

TEST_F(PackageLine, isAHeadingOnlyWhenItsFirstColonEndsIt) {
    EXPECT_THAT(parse("shell amd64 2:5.1"), ElementsAre("shell 2:5.1"));
    EXPECT_THAT(parse("a:b:"), ElementsAre("a:b:"));
    EXPECT_THAT(parse("Installed: "), ElementsAre("Installed:"));
}

TEST_F(PackageLine, withoutAWordIsIgnored) {
    EXPECT_THAT(parse(""), IsEmpty());
    EXPECT_THAT(parse(" \t"), IsEmpty());
}

TEST_F(PackageLine, hasWordsOfAnythingElse) {
    EXPECT_THAT(parse("-f --x -1"), ElementsAre("-f -1"));
    EXPECT_THAT(parse(".web .x .1"), ElementsAre(".web .1"));
    EXPECT_THAT(parse("shell amd64 5.1\r"), ElementsAre("shell 5.1\r"));
    EXPECT_THAT(parse("Installed:\r"), ElementsAre("Installed:\r"));
    EXPECT_THAT(parse("a\vb\fc"), ElementsAre("a\vb\fc"));
}

TEST_F(PackageLine, mayBeLong) {
    const std::string name(1U << 20, 'a');
    EXPECT_THAT(parse((name + " x 1").c_str()), ElementsAre(name + " 1"));
}

TEST_F(PackageLine, isAppended) {
    m_out = {rpm("before")};
    EXPECT_TRUE(parsePackageLine(m_out, "shell"));
    EXPECT_THAT(textsOf(m_out), ElementsAre("before", "shell"));
}

// --- template lines

class TemplateLine : public testing::Test {
protected:
    std::vector<std::string> parse(const char* line) {
        m_out.clear();
        EXPECT_TRUE(parseTemplateLine(m_out, line));
        return textsOf(m_out);
    }
    QXL::QXLPackageList m_out;
};

TEST_F(TemplateLine, ofAnOsTemplateGivesItDotted) {
    EXPECT_THAT(parse("base template"), ElementsAre(".base"));
    EXPECT_TRUE(templateOf(m_out[0]).isOsTemplate);
    EXPECT_EQ("Linux", m_out[0]->os.platform);
    EXPECT_FALSE(m_out[0]->os.osName.has_value());
    EXPECT_TRUE(isKRTemplate(m_out[0]));
}

TEST_F(TemplateLine, ofAnApplicationTemplateGivesItWithItsOsTemplate) {
    EXPECT_THAT(parse("base web"), ElementsAre(".web (OS .base)"));
    EXPECT_FALSE(templateOf(m_out[0]).isOsTemplate);
    EXPECT_EQ("Linux", m_out[0]->os.platform);
}

TEST_F(TemplateLine, keepsDots) {
    EXPECT_THAT(parse(".base template"), ElementsAre(".base"));
    EXPECT_THAT(parse(".base .web"), ElementsAre(".web (OS .base)"));
}

TEST_F(TemplateLine, isOfAnOsTemplateForThatWordAlone) {
    EXPECT_THAT(parse("base templates"), ElementsAre(".templates (OS .base)"));
    EXPECT_THAT(parse("base temp"), ElementsAre(".temp (OS .base)"));
    EXPECT_THAT(parse("base Template"), ElementsAre(".Template (OS .base)"));
    EXPECT_THAT(parse("base .template"), ElementsAre(".template (OS .base)"));
}

TEST_F(TemplateLine, leavesOutFurtherWords) {
    EXPECT_THAT(parse("\tbase \t web more"), ElementsAre(".web (OS .base)"));
}

TEST_F(TemplateLine, hasWordsOfAnythingElse) {
    EXPECT_THAT(parse("template template"), ElementsAre(".template"));
    EXPECT_THAT(parse("base -web"), ElementsAre(".-web (OS .base)"));
    EXPECT_THAT(parse("base template\r"), ElementsAre(".template\r (OS .base)"));
}

TEST_F(TemplateLine, isNeverAHeading) {
    EXPECT_THAT(parse("base web:"), ElementsAre(".web: (OS .base)"));
}

TEST_F(TemplateLine, ofFewerThanTwoWordsIsIgnored) {
    EXPECT_THAT(parse("base"), IsEmpty());
    EXPECT_THAT(parse("template "), IsEmpty());
    EXPECT_THAT(parse(""), IsEmpty());
}

TEST_F(TemplateLine, isAppended) {
    m_out = {rpm("before")};
    EXPECT_TRUE(parseTemplateLine(m_out, "base template"));
    EXPECT_THAT(textsOf(m_out), ElementsAre("before", ".base"));
}

}  // namespace
}  // namespace QXA
