// Texts of others: what would steer a terminal or invent a line is shown escaped.
#include "base/escape.h"

#include <gtest/gtest.h>

namespace {

TEST(PrintableTest, KeepsTextOfEveryLanguage) {
    for (const char* text : {"plain text", "gr\xc3\xbc\xc3\x9f", "\xe4\xbd\xa0\xe5\xa5\xbd",
                             "\xf0\x9f\x98\x80", "back\\slash", ""}) {
        EXPECT_EQ(base::printable(text), text);
    }
}

TEST(PrintableTest, EscapesWhatSteersATerminal) {
    EXPECT_EQ(base::printable("\033[2Jgone"), "\\x1b[2Jgone");
    EXPECT_EQ(base::printable("one\rtwo\bthree\x7f"), "one\\x0dtwo\\x08three\\x7f");
    EXPECT_EQ(base::printable(std::string("nul\0", 4)), "nul\\x00");
    EXPECT_EQ(base::printable("\xc2\x9b"
                              "31m"),
              "\\xc2\\x9b31m")
        << "the 8-bit escape";
    EXPECT_EQ(base::printable("\xe2\x80\xae"
                              "fdp.exe"),
              "\\xe2\\x80\\xaefdp.exe")
        << "direction";
}

TEST(PrintableTest, LetsNoTextInventALine) {
    EXPECT_EQ(base::printable("a\n/qx/private/101: clean"), "a\\x0a/qx/private/101: clean");
    EXPECT_EQ(base::printable("a\xe2\x80\xa8"
                              "b"),
              "a\\xe2\\x80\\xa8"
              "b")
        << "a line separator";
}

TEST(PrintableTest, EscapesWhatIsNoUtf8) {
    EXPECT_EQ(base::printable("\xff"), "\\xff");
    EXPECT_EQ(base::printable("\xc0\xaf"), "\\xc0\\xaf") << "longer than need be";
    EXPECT_EQ(base::printable("\xed\xa0\x80"), "\\xed\\xa0\\x80") << "half of a pair";
    EXPECT_EQ(base::printable("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80") << "beyond the last";
    EXPECT_EQ(base::printable("cut\xe4\xbd"), "cut\\xe4\\xbd");
}

TEST(PrintableTest, LeavesEscapedTextAsItIs) {
    const std::string once = base::printable("\033\xff\n");
    EXPECT_EQ(base::printable(once), once);
}

TEST(PrintableTest, OfSeveralLinesKeepsTheirEnds) {
    EXPECT_EQ(base::printableLines("one\n\ttwo\033[m\r\n"), "one\n\ttwo\\x1b[m\\x0d\n");
}

TEST(ReversibleTest, TellsDifferentBytesApart) {
    EXPECT_EQ(base::reversible("\xff"), "\\xff");
    EXPECT_EQ(base::reversible("\xfe"), "\\xfe");
    EXPECT_EQ(base::reversible("\\xff"), "\\\\xff");
    EXPECT_EQ(base::reversible("a\\\\b\\"), "a\\\\\\\\b\\\\");
    EXPECT_EQ(base::reversible("gr\xc3\xbc\xc3\x9f\n"), "gr\xc3\xbc\xc3\x9f\n");
}

TEST(QuotedTest, IsAsciiThatCanBeTurnedBack) {
    EXPECT_EQ(base::quoted("a \"b\"\\\n\xc3\xbc"), R"("a \x22b\x22\x5c\x0a\xc3\xbc")");
}

}  // namespace
