// The command lines of qxpkg, as its callers write them and as people do.
#include "node/qxpkg/command_line.h"

#include <gtest/gtest.h>

#include "tests/support/capture.h"

namespace {

using qxpkg::CommandLine;
using qxpkg::Object;
using qxpkg::Parsed;
using qxpkg::Verb;
using Words = std::vector<std::string>;

struct Reading {
    Parsed result = Parsed::command;
    CommandLine line;
    qx_test::Output output;
};

Reading read(const Words& words) {
    std::vector<const char*> argv{"qxpkg"};
    for (const std::string& word : words) {
        argv.push_back(word.c_str());
    }
    Reading reading;
    reading.output = qx_test::captured([&] {
        reading.result =
            qxpkg::parseCommandLine(static_cast<int>(argv.size()), argv.data(), reading.line);
    });
    return reading;
}

CommandLine parsed(const Words& words) {
    Reading reading = read(words);
    EXPECT_EQ(reading.result, Parsed::command) << reading.output.err;
    return reading.line;
}

void expectWrong(const Words& words) {
    const Reading reading = read(words);
    EXPECT_EQ(reading.result, Parsed::wrong) << words.front();
    EXPECT_EQ(reading.output.out, "");
    EXPECT_NE(reading.output.err, "");
}

TEST(QxpkgCommandLine, TemplatesOfAContainerAreNamedBehindItsNumber) {
    const CommandLine line = parsed({"install", "-q", "-C", "-n", "-f", "101", ".web", ".db"});
    EXPECT_EQ(line.verb, Verb::install);
    EXPECT_EQ(line.object, Object::container);
    EXPECT_EQ(line.veid, 101);
    EXPECT_EQ(line.kind, qxpkg::Names::templates);
    EXPECT_EQ(line.names, (Words{".web", ".db"}));
    EXPECT_TRUE(line.options.quiet);
    EXPECT_TRUE(line.options.cacheOnly);
    EXPECT_TRUE(line.options.dryRun);
    EXPECT_TRUE(line.options.force);
    EXPECT_FALSE(line.options.withDependents);
}

TEST(QxpkgCommandLine, CompletionScriptsKnowTheCommands) {
    const Reading reading = read({"completion", "bash"});

    EXPECT_EQ(reading.result, Parsed::answered);
    EXPECT_NE(reading.output.out.find("install"), std::string::npos);
}

TEST(QxpkgCommandLine, CompletionIsForKnownShells) {
    expectWrong({"completion", "tcsh"});
    expectWrong({"completion"});
}

TEST(QxpkgCommandLine, PackagesOfAContainerFollowAnOptionBeforeItsNumber) {
    const CommandLine line = parsed({"remove", "-q", "-n", "-w", "-f", "-p", "101", "hello"});
    EXPECT_EQ(line.verb, Verb::remove);
    EXPECT_EQ(line.object, Object::container);
    EXPECT_EQ(line.kind, qxpkg::Names::packages);
    EXPECT_EQ(line.names, Words{"hello"});
    EXPECT_TRUE(line.options.withDependents);
}

TEST(QxpkgCommandLine, NoPackageNamesAreACommandToo) {
    for (const char* verb : {"install", "update", "remove"}) {
        const CommandLine line = parsed({verb, "-q", "-p", "101"});
        EXPECT_EQ(line.veid, 101);
        EXPECT_EQ(line.kind, qxpkg::Names::packages);
        EXPECT_TRUE(line.names.empty());
    }
    for (const char* verb : {"fetch", "clean"}) {
        const CommandLine line = parsed({verb, "-q", "-p"});
        EXPECT_EQ(line.object, Object::nodePackages);
        EXPECT_TRUE(line.names.empty());
    }
}

TEST(QxpkgCommandLine, AnUpdateOfAContainerWithoutNamesIsOneOfItsPackages) {
    EXPECT_EQ(parsed({"update", "101"}).kind, qxpkg::Names::packages);
}

TEST(QxpkgCommandLine, FetchAndCleanNameTemplatesOrPackages) {
    const CommandLine templates = parsed({"fetch", "-q", ".debian", ".web"});
    EXPECT_EQ(templates.verb, Verb::fetch);
    EXPECT_EQ(templates.kind, qxpkg::Names::templates);
    EXPECT_EQ(templates.names, (Words{".debian", ".web"}));
    const CommandLine packages = parsed({"clean", "-q", "-p", "hello"});
    EXPECT_EQ(packages.verb, Verb::clean);
    EXPECT_EQ(packages.kind, qxpkg::Names::packages);
}

TEST(QxpkgCommandLine, ANumberIsANameWhereNoContainerIsMeant) {
    EXPECT_EQ(parsed({"fetch", "101"}).names, Words{"101"});
}

TEST(QxpkgCommandLine, TemplateFilesFollowTheWordTemplate) {
    for (const Words& words : {Words{"install", "template", "-q", "-f", "a.tar", "b.tar"},
                               Words{"install", "-q", "-f", "template", "a.tar", "b.tar"},
                               Words{"install", "-qf", "template", "a.tar", "b.tar"},
                               Words{"-q", "install", "template", "a.tar", "b.tar", "-f"}}) {
        const CommandLine line = parsed(words);
        EXPECT_EQ(line.object, Object::nodeTemplates);
        EXPECT_EQ(line.names, (Words{"a.tar", "b.tar"}));
        EXPECT_TRUE(line.options.quiet);
        EXPECT_TRUE(line.options.force);
    }
}

TEST(QxpkgCommandLine, TemplatesOfTheNodeAreRemovedByName) {
    const CommandLine line = parsed({"remove", "template", "-q", ".debian", ".fedora"});
    EXPECT_EQ(line.verb, Verb::remove);
    EXPECT_EQ(line.object, Object::nodeTemplates);
    EXPECT_FALSE(line.applications);
    EXPECT_EQ(line.names, (Words{".debian", ".fedora"}));
}

TEST(QxpkgCommandLine, ApplicationTemplatesAreRemovedBehindTheirOsTemplate) {
    const CommandLine line = parsed({"remove", "template", "-q", "-F", ".debian", ".web"});
    EXPECT_TRUE(line.applications);
    EXPECT_EQ(line.names, (Words{".debian", ".web"}));
    expectWrong({"remove", "template", "-q", "-F", ".debian"});
    expectWrong({"remove", "-F", "101", ".web"});
}

TEST(QxpkgCommandLine, CachesAreNamedByTheirOsTemplates) {
    const CommandLine create = parsed({"create", "cache", "-q", "-f", ".debian"});
    EXPECT_EQ(create.verb, Verb::create);
    EXPECT_EQ(create.object, Object::caches);
    EXPECT_EQ(create.names, Words{".debian"});
    EXPECT_TRUE(create.options.force);
    const CommandLine update = parsed({"update", "cache", "-q"});
    EXPECT_EQ(update.verb, Verb::update);
    EXPECT_EQ(update.object, Object::caches);
    EXPECT_TRUE(update.names.empty());
    expectWrong({"create", "cache", "-q"});
    expectWrong({"create", ".debian"});
}

TEST(QxpkgCommandLine, CommandWordsBehindAContainersNumberAreNames) {
    const Words names{"template", "cache", "list", "install"};
    for (const char* verb : {"install", "update", "remove"}) {
        Words words{verb, "-p", "101"};
        words.insert(words.end(), names.begin(), names.end());
        EXPECT_EQ(parsed(words).names, names) << verb;
    }
    EXPECT_EQ(parsed({"fetch", "template"}).names, Words{"template"});
}

TEST(QxpkgCommandLine, WhatReadsLikeAnOptionBehindAContainersNumberIsAName) {
    const Words names{"-f", "--node-dir=/x", "--wait", "1", "--help", "--", "-"};
    for (const char* verb : {"install", "update", "remove"}) {
        Words words{verb, "-q", "-p", "101"};
        words.insert(words.end(), names.begin(), names.end());
        const CommandLine line = parsed(words);
        EXPECT_EQ(line.names, names) << verb;
        EXPECT_FALSE(line.options.force);
        EXPECT_EQ(line.nodeDirectory, "");
    }
}

TEST(QxpkgCommandLine, AnOptionsValueIsNoContainersNumber) {
    for (const Words& wait : {Words{"--wait", "2"}, Words{"--wait=2"}}) {
        Words words{"--node-dir", "1", "install"};
        words.insert(words.end(), wait.begin(), wait.end());
        words.insert(words.end(), {"-f", "101", ".web"});
        const CommandLine line = parsed(words);
        EXPECT_EQ(line.veid, 101);
        EXPECT_EQ(line.nodeDirectory, "1");
        EXPECT_EQ(line.names, Words{".web"});
        EXPECT_TRUE(line.options.force);
    }
}

TEST(QxpkgCommandLine, OptionsMayStandBehindFiles) {
    EXPECT_TRUE(parsed({"install", "template", "1", "-f"}).options.force);
}

TEST(QxpkgCommandLine, AContainersNumberIsDigitsAndNotZero) {
    for (const char* number :
         {"0", "-1", "1x", "+1", "2147483648", "99999999999999999999", "web"}) {
        expectWrong({"install", number, ".web"});
    }
    EXPECT_EQ(parsed({"remove", "2147483647"}).veid, 2147483647);
}

TEST(QxpkgCommandLine, AnAreaIsVerifiedByItsContainersNumber) {
    const CommandLine line = parsed({"verify", "area", "101"});
    EXPECT_EQ(line.verb, Verb::verify);
    EXPECT_EQ(line.object, Object::container);
    EXPECT_EQ(line.veid, 101);
    expectWrong({"verify", "101"});
    expectWrong({"verify", "area"});
    expectWrong({"verify", "area", "101", "102"});
}

TEST(QxpkgCommandLine, APackageIsMadeOfAFolder) {
    const CommandLine line = parsed({"pack", "folder", "file.tar"});
    EXPECT_EQ(line.verb, Verb::pack);
    EXPECT_EQ(line.names, (Words{"folder", "file.tar"}));
    expectWrong({"pack", "folder"});
}

TEST(QxpkgCommandLine, AListingIsATableOrJson) {
    EXPECT_EQ(parsed({"list"}).format, qxpkg::ListFormat::table);
    const CommandLine line = parsed({"list", ".debian", "--format", "json"});
    EXPECT_EQ(line.format, qxpkg::ListFormat::json);
    EXPECT_EQ(line.names, Words{".debian"});
    expectWrong({"list", "--format", "html"});
}

TEST(QxpkgCommandLine, TheWaitForALockIsGivenInSeconds) {
    EXPECT_EQ(parsed({"create", "cache", "--wait", "1.5", ".debian"}).options.wait.limit(),
              std::chrono::milliseconds(1500));
    EXPECT_EQ(parsed({"--wait", "0", "list"}).options.wait.limit(), std::chrono::milliseconds(0));
    expectWrong({"list", "--wait", "-1"});
    expectWrong({"list", "--wait", "soon"});
}

TEST(QxpkgCommandLine, WhatMakesNoSenseIsWrongUsage) {
    for (const Words& words :
         {Words{}, Words{"frobnicate"}, Words{"install"}, Words{"install", "101"},
          Words{"install", "template"}, Words{"update", "template"}, Words{"remove", "template"},
          Words{"install", "template", "-p", "a.tar"}, Words{"install", "-x", "101", "a"},
          Words{"update", "cache", "-p"}, Words{"fetch", "-f"}}) {
        const Reading reading = read(words);
        EXPECT_EQ(reading.result, Parsed::wrong) << (words.empty() ? "" : words.front());
    }
}

TEST(QxpkgCommandLine, HelpShowsExamplesAndExitCodes) {
    const Reading reading = read({"--help"});
    EXPECT_EQ(reading.result, Parsed::answered);
    EXPECT_NE(reading.output.out.find("qxpkg install template ./"), std::string::npos);
    EXPECT_NE(reading.output.out.find("27 refused"), std::string::npos);
}

TEST(QxpkgCommandLine, EachCommandHasHelpOfItsOwn) {
    for (const char* verb :
         {"install", "update", "remove", "fetch", "clean", "create", "verify", "pack", "list"}) {
        const Reading reading = read({verb, "--help"});
        EXPECT_EQ(reading.result, Parsed::answered) << verb;
        EXPECT_NE(reading.output.out, "") << verb;
    }
}

TEST(QxpkgCommandLine, TheVersionIsTold) {
    const Reading reading = read({"--version"});
    EXPECT_EQ(reading.result, Parsed::answered);
    EXPECT_TRUE(reading.output.out.starts_with("qxpkg ")) << reading.output.out;
}

}  // namespace
