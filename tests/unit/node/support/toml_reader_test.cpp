// Typed access to TOML: what each getter gives, and the text of each error.
#include "node/support/toml_reader.h"

#include <gtest/gtest.h>

#include <functional>

#include "tests/support/temp_dir.h"

namespace {

using qxnode::Failure;
using qxnode::TomlTable;

TomlTable table(std::string_view text) {
    return TomlTable::parse(text, "f.toml");
}

std::string errorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const Failure& error) {
        return error.what();
    }
    return "no error";
}

TEST(TomlTableTest, GivesValuesOfEachType) {
    const auto file = table("a = 'x'\nb = 7\nc = true\nd = ['p', 'q']\n[e]\nf = 'in'\n");
    EXPECT_EQ(file.text("a"), "x");
    EXPECT_EQ(file.integer("b"), 7);
    EXPECT_EQ(file.boolean("c"), true);
    EXPECT_EQ(file.texts("d"), (std::vector<std::string>{"p", "q"}));
    EXPECT_EQ(file.table("e")->text("f"), "in");
    EXPECT_EQ(file.keys(), (std::vector<std::string>{"a", "b", "c", "d", "e"}));
}

TEST(TomlTableTest, GivesNothingForKeysThatAreNotThere) {
    const auto file = table("");
    EXPECT_EQ(file.text("a"), std::nullopt);
    EXPECT_EQ(file.integer("a"), std::nullopt);
    EXPECT_EQ(file.boolean("a"), std::nullopt);
    EXPECT_FALSE(file.table("a"));
    EXPECT_TRUE(file.texts("a").empty());
    EXPECT_TRUE(file.tables("a").empty());
}

TEST(TomlTableTest, NamesFileLineKeyAndTheTypeThatWasExpected) {
    const auto file = table("\na = 7\n[t]\nb = 'x'\nl = ['x', 1]\n");
    EXPECT_EQ(errorOf([&] { (void)file.text("a"); }),
              "f.toml:2: key 'a': expected a string, found integer");
    EXPECT_EQ(errorOf([&] { (void)file.table("t")->integer("b"); }),
              "f.toml:4: key 't.b': expected an integer, found string");
    EXPECT_EQ(errorOf([&] { (void)file.table("t")->boolean("b"); }),
              "f.toml:4: key 't.b': expected a boolean, found string");
    EXPECT_EQ(errorOf([&] { (void)file.table("t")->texts("l"); }),
              "f.toml:5: key 't.l': expected an array of strings, found integer");
    EXPECT_EQ(errorOf([&] { (void)file.tables("a"); }),
              "f.toml:2: key 'a': expected an array of tables, found integer");
    EXPECT_EQ(errorOf([&] { (void)file.table("a"); }),
              "f.toml:2: key 'a': expected a table, found integer");
}

TEST(TomlTableTest, NamesAKeyThatIsMissing) {
    EXPECT_EQ(errorOf([] { (void)table("b = 1\n").requiredText("a"); }),
              "f.toml:1: key 'a': missing");
}

TEST(TomlTableTest, TakesNumbersAmongTextsWhereAskedTo) {
    EXPECT_EQ(table("l = ['x', 101]\n").textsOrIntegers("l"),
              (std::vector<std::string>{"x", "101"}));
    EXPECT_EQ(errorOf([] { (void)table("l = [true]\n").textsOrIntegers("l"); }),
              "f.toml:1: key 'l': expected an array of strings and integers, found boolean");
}

TEST(TomlTableTest, NamesTheLineOfASyntaxError) {
    const auto error = errorOf([] { table("a = 1\nb = = 2\n"); });
    EXPECT_TRUE(error.starts_with("f.toml:2: ")) << error;
}

TEST(TomlTableTest, RefusesADocumentThatIsTooLong) {
    EXPECT_EQ(errorOf([] { TomlTable::parse("a = 1\n", "f.toml", 5); }),
              "f.toml: longer than 5 bytes");
}

TEST(TomlTableTest, RefusesDeepNesting) {
    const std::string deep = "a = " + std::string(100000, '[');
    EXPECT_NE(errorOf([&] { table(deep); }), "no error");
}

TEST(TomlTableTest, OutlivesTheDocumentItCameFrom) {
    std::optional<TomlTable> inner;
    { inner = table("[t]\na = 'x'\n").table("t"); }
    EXPECT_EQ(inner->text("a"), "x");
}

TEST(TomlTableTest, ReadsAFileAndNamesOneThatIsMissing) {
    const qx_test::TempDir dir;
    EXPECT_EQ(TomlTable::read(dir.write("f", "a = 'x'\n")).text("a"), "x");
    EXPECT_EQ(errorOf([] { TomlTable::read("/nowhere/f"); }),
              "cannot read '/nowhere/f': No such file or directory");
}

}  // namespace
