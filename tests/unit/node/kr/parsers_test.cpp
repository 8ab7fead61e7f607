// Texts that engines and repositories give: what is taken, what is refused, in any pieces.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "node/kr/deb/index.h"
#include "node/kr/deb/packaging.h"
#include "node/kr/list_output.h"
#include "node/kr/rpm/index.h"
#include "node/kr/rpm/packaging.h"
#include "node/kr/text.h"
#include "node/support/failure.h"
#include "qxtt/qxtt.h"

namespace qxnode {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

template <typename Action>
int code_of(const Action& action) {
    try {
        action();
        return 0;
    } catch (const qxnode::Failure& failure) {
        return failure.code();
    }
}

std::vector<Package> listed(const std::vector<std::string>& lines) {
    std::vector<Package> packages;
    ListOutput output([&](Package&& package) { packages.push_back(std::move(package)); });
    for (const std::string& line : lines) {
        output.add(line);
    }
    output.finish();
    return packages;
}

// One line of an engine's list.
std::string record(const std::string& state, const std::string& name,
                   const std::string& rest = "") {
    return "\x1e" + state + "\x1f" + name +
           "\x1f"
           "amd64\x1f"
           "1.0\x1f" +
           rest;
}

TEST(ListOutput, fieldsAreTakenApart) {
    const auto packages = listed({record("ii ", "bash",
                                         "A shell\x1f"
                                         "first"),
                                  "second"});
    ASSERT_EQ(packages.size(), 1U);
    EXPECT_EQ(packages[0].name, "bash");
    EXPECT_EQ(packages[0].architecture, "amd64");
    EXPECT_EQ(packages[0].version, "1.0");
    EXPECT_EQ(packages[0].summary, "A shell");
    EXPECT_THAT(packages[0].description, ElementsAre("first", "second"));
}

TEST(ListOutput, aSummaryOverSeveralLinesBecomesOne) {
    const auto packages = listed({record("", "bash", "A"), "  shell", "\x1f"});
    ASSERT_EQ(packages.size(), 1U);
    EXPECT_EQ(packages[0].summary, "A shell");
}

TEST(ListOutput, removedPackagesAndKeysAreKnownByTheirPackaging) {
    auto debs = listed({record("rc ", "a", "\x1f"), record("un ", "b", "\x1f")});
    ASSERT_EQ(debs.size(), 2U);
    EXPECT_FALSE(kDebPackaging.takeListed(debs[0]));
    EXPECT_FALSE(kDebPackaging.takeListed(debs[1]));
    auto rpms = listed({record("", "gpg-pubkey", "\x1f"), record("", "bash", "\x1f")});
    ASSERT_EQ(rpms.size(), 2U);
    EXPECT_FALSE(kRpmPackaging.takeListed(rpms[0]));
    EXPECT_TRUE(kRpmPackaging.takeListed(rpms[1]));
}

TEST(ListOutput, tagsThatAreNotThereAreEmpty) {
    const auto packages =
        listed({"\x1e\x1f"
                "bash\x1f(none)\x1f"
                "1\x1f(none)\x1f(none)"});
    ASSERT_EQ(packages.size(), 1U);
    EXPECT_EQ(packages[0].architecture, "");
    EXPECT_EQ(packages[0].summary, "");
    EXPECT_THAT(packages[0].description, IsEmpty());
}

TEST(ListOutput, whatIsNoListIsRefused) {
    EXPECT_EQ(code_of([] { listed({"bash 1.0"}); }), QXTT_E_BAD_DATABASE);
    EXPECT_EQ(code_of([] {
                  listed(
                      {"\x1e"
                       "ii\x1f"
                       "bash"});
              }),
              QXTT_E_BAD_DATABASE);
    EXPECT_EQ(code_of([] { listed({record("ii", "", "\x1f")}); }), QXTT_E_BAD_DATABASE);
}

TEST(ListOutput, aListWithoutEndIsRefused) {
    ListOutput output([](Package&&) {});
    const std::string line(1U << 20, 'x');
    output.add(record("ii", "a", "\x1f"));
    EXPECT_EQ(code_of([&] {
                  for (std::size_t bytes = 0; bytes <= ListOutput::kMaxBytes;
                       bytes += line.size()) {
                      output.add(record("ii", "a", "\x1f") + line);
                  }
              }),
              QXTT_E_BAD_DATABASE);
}

// The names an index gives when it comes in pieces of that size.
template <typename Index>
std::vector<std::string> names_in(const std::string& text, std::size_t piece) {
    std::vector<std::string> names;
    Index index([&](Package&& package) { names.push_back(package.name); });
    for (std::size_t at = 0; at < text.size(); at += piece) {
        index.add(std::string_view(text).substr(at, piece));
    }
    index.finish();
    return names;
}

TEST(DebIndex, isReadInAnyPieces) {
    const std::string text = "Package: a\nVersion: 1\n\n\nPackage: b\nDescription: x\n y\n";
    for (std::size_t piece = 1; piece <= text.size(); ++piece) {
        EXPECT_THAT(names_in<DebIndex>(text, piece), ElementsAre("a", "b")) << piece;
    }
}

TEST(DebIndex, aStanzaWithoutNameOrALineWithoutFieldIsRefused) {
    EXPECT_EQ(code_of([] { names_in<DebIndex>("Version: 1\n\n", 99); }), QXTT_E_BAD_REPOSITORY);
    EXPECT_EQ(code_of([] { names_in<DebIndex>("text\n", 99); }), QXTT_E_BAD_REPOSITORY);
    EXPECT_EQ(code_of([] { names_in<DebIndex>(": x\n", 99); }), QXTT_E_BAD_REPOSITORY);
}

TEST(DebIndex, aLineWithoutEndIsRefused) {
    const std::string text(DebIndex::kMaxLine + 1, 'x');
    EXPECT_EQ(code_of([&] { names_in<DebIndex>(text, 4096); }), QXTT_E_BAD_REPOSITORY);
}

TEST(RpmIndex, isReadInAnyPieces) {
    const std::string text =
        "<?xml version='1.0'?><metadata packages='2'><package type='rpm'><name>a</name>"
        "</package>\n<package><name>b</name></package></metadata>";
    for (std::size_t piece = 1; piece <= text.size(); ++piece) {
        EXPECT_THAT(names_in<RpmIndex>(text, piece), ElementsAre("a", "b")) << piece;
    }
}

TEST(RpmIndex, whatIsNotWholeIsRefused) {
    EXPECT_EQ(code_of([] { names_in<RpmIndex>("", 1); }), QXTT_E_BAD_REPOSITORY);
    EXPECT_EQ(code_of([] { names_in<RpmIndex>("<metadata><package><name>a</name>", 9); }),
              QXTT_E_BAD_REPOSITORY);
    EXPECT_EQ(code_of([] { names_in<RpmIndex>("<metadata><package><x></package></metadata>", 9); }),
              QXTT_E_BAD_REPOSITORY);
    EXPECT_EQ(code_of([] { names_in<RpmIndex>("<metadata><package></package></metadata>", 9); }),
              QXTT_E_BAD_REPOSITORY);
}

TEST(RpmIndex, anElementWithoutEndIsRefused) {
    const std::string text = "<metadata><package>" + std::string(RpmIndex::kMaxElement, 'x');
    EXPECT_EQ(code_of([&] { names_in<RpmIndex>(text, 65536); }), QXTT_E_BAD_REPOSITORY);
}

TEST(OneLine, lineEndsAndTheBlanksAroundThemBecomeOneBlank) {
    EXPECT_EQ(oneLine("a\n  b \n\nc\n"), "a b c");
    EXPECT_EQ(oneLine(" \n "), "");
}

}  // namespace
}  // namespace qxnode
