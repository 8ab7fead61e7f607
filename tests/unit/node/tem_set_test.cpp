// Installing template packages on the node: what is taken, what is refused and why.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "tests/unit/node/tem_node.h"

namespace {

using tem_test::appManifest;
using tem_test::Node;
using tem_test::osManifest;
using tem_test::Outcome;
using tem_test::Package;
using testing::HasSubstr;

namespace fs = std::filesystem;

class TemSet : public testing::Test {
protected:
    void SetUp() override { QX_SKIP_WITHOUT_NODE(); }

    Package os(const std::string& version = "1") {
        return Package().manifest(osManifest("os", version));
    }

    // Expects that a package is refused as damaged, with `reason`, and that nothing is left of it.
    void expectRefused(const std::string& path, const std::string& reason) {
        const std::string before = Node::tree(node.templates());
        const Outcome outcome = node.set({path});
        EXPECT_EQ(outcome.code, QXA::kTemDamaged) << outcome.message;
        EXPECT_THAT(outcome.message, HasSubstr(reason));
        EXPECT_THAT(outcome.message, HasSubstr(path));
        expectUnchanged(before);
    }
    void expectRefused(const Package& package, const std::string& reason) {
        expectRefused(node.package("bad.tar", package), reason);
    }

    // State of the manager itself does not count.
    void expectUnchanged(const std::string& before) {
        fs::remove_all(node.templates(".qxtem"));
        fs::remove(node.templates(".lock"));
        EXPECT_EQ(Node::tree(node.templates()), before);
    }

    Node node;
};

TEST_F(TemSet, PutsManifestAndFilesInPlace) {
    const Outcome outcome = node.set({node.package(
        "p.tar", os().file("root/etc/release", "one\n", 0640).link("root/etc/link", "release"))});
    ASSERT_EQ(outcome.code, 0) << outcome.message;
    EXPECT_EQ(outcome.text, "os/1:os");
    EXPECT_EQ(qx_test::read_file(node.templates("os/1/root/etc/release")), "one\n");
    EXPECT_EQ(fs::read_symlink(node.templates("os/1/root/etc/link")), "release");
    EXPECT_EQ(qx_test::read_file(node.templates("os/1/template.toml")), osManifest("os", "1"));
    EXPECT_EQ(node.ls().text, "os/1:os");
}

TEST_F(TemSet, KeepsModesTimesAndHardLinks) {
    ASSERT_EQ(node.set({node.package("p.tar", os().file("root/a", "x", 0751)
                                                  .hardLink("root/b", "root/a")
                                                  .directory("root/d", 02775))})
                  .code,
              0);
    struct stat a {};
    struct stat b {};
    struct stat d {};
    ASSERT_EQ(stat(node.templates("os/1/root/a").c_str(), &a), 0);
    ASSERT_EQ(stat(node.templates("os/1/root/b").c_str(), &b), 0);
    ASSERT_EQ(stat(node.templates("os/1/root/d").c_str(), &d), 0);
    EXPECT_EQ(a.st_mode & 07777, 0751U);
    EXPECT_EQ(a.st_mtime, 1'000'000'000);
    EXPECT_EQ(a.st_ino, b.st_ino);
    EXPECT_EQ(d.st_mode & 07777, 02775U);
    EXPECT_EQ(d.st_mtime, 1'000'000'000);
}

class TemSetCompressed : public TemSet, public testing::WithParamInterface<const char*> {};

TEST_P(TemSetCompressed, IsUnpacked) {
    const Outcome outcome = node.set({Package(GetParam())
                                          .manifest(osManifest("os", "1"))
                                          .file("root/f", "f")
                                          .write(node.file("p"))});
    ASSERT_EQ(outcome.code, 0) << outcome.message;
    EXPECT_EQ(qx_test::read_file(node.templates("os/1/root/f")), "f");
}

INSTANTIATE_TEST_SUITE_P(EveryFilter, TemSetCompressed,
                         testing::Values("none", "gzip", "bzip2", "xz", "zstd", "lz4", "lzma"));

TEST_F(TemSet, FindsAManifestThatComesLast) {
    EXPECT_EQ(node.set({node.package(
                           "p.tar", Package().file("root/f", "f").manifest(osManifest("os", "1")))})
                  .code,
              0);
}

TEST_F(TemSet, TakesNamesWithALeadingDotSlash) {
    ASSERT_EQ(
        node
            .set({node.package(
                "p.tar",
                Package().file("./template.toml", osManifest("os", "1")).file("./root/f", "f"))})
            .code,
        0);
    EXPECT_TRUE(fs::exists(node.templates("os/1/root/f")));
}

TEST_F(TemSet, TakesNamesOfAnyScriptUnderAnyLocale) {
    const std::string name = "\xc3\xa4\xe4\xb8\xad";
    const Outcome outcome = node.set({node.package("p.tar", Package()
                                                                .namesAsText()
                                                                .manifest(osManifest("os", "1"))
                                                                .file("root/" + name, "x")
                                                                .hardLink("root/h", "root/" + name)
                                                                .link("root/l", name))});
    ASSERT_EQ(outcome.code, 0) << outcome.message;
    EXPECT_EQ(qx_test::read_file(node.templates("os/1/root/" + name)), "x");
    EXPECT_EQ(qx_test::read_file(node.templates("os/1/root/h")), "x");
    EXPECT_EQ(fs::read_symlink(node.templates("os/1/root/l")).string(), name);
}

TEST_F(TemSet, RefusesAPathThatClimbsOut) {
    expectRefused(os().file("root/../../../x", "x"), "leads out of the package by \"..\"");
}

TEST_F(TemSet, NamesThePackageWhateverItIsCalled) {
    os().file("root/../x", "x").write(node.file("e"));
    const qx_test::WorkingDirectory here(node.file(""));
    const Outcome outcome = node.set({"e"});
    EXPECT_TRUE(outcome.message.starts_with("template package 'e': entry ")) << outcome.message;
}

TEST_F(TemSet, RefusesAnAbsolutePath) {
    expectRefused(os().file("/etc/x", "x"), "is an absolute path");
}

TEST_F(TemSet, RefusesAPathThroughALink) {
    expectRefused(os().link("root/d", "etc").file("root/d/x", "x"), "leads through a link");
}

TEST_F(TemSet, RefusesAFileInTheWayOfADirectory) {
    expectRefused(os().file("root/d", "x").file("root/d/x", "x"), "leads through a link or a file");
}

TEST_F(TemSet, RefusesALinkThatLeadsOut) {
    expectRefused(os().link("root/a/b", "../../../etc/passwd"),
                  "is a symbolic link that leads out");
}

TEST_F(TemSet, RefusesAnAbsoluteLinkThatClimbs) {
    expectRefused(os().link("root/a", "/../etc/passwd"), "is a symbolic link that leads out");
}

TEST_F(TemSet, TakesALinkThatStartsAtTheContainersRoot) {
    EXPECT_EQ(node.set({node.package("p.tar", os().link("root/a/b", "/etc/x"))}).code, 0);
}

TEST_F(TemSet, RefusesALinkThatReadsAsAReference) {
    expectRefused(os().link("root/a", "////os/1/root/b"), "reads as a reference");
}

TEST_F(TemSet, RefusesAHardLinkToOutside) {
    expectRefused(os().hardLink("root/a", "template.toml"), "is a hard link that leads out");
    expectRefused(os().hardLink("root/a", "../../x"), "leads out of the package");
    expectRefused(os().hardLink("root/a", "/etc/passwd"), "is an absolute path");
}

TEST_F(TemSet, RefusesAHardLinkToAFileThatIsNotThere) {
    expectRefused(os().hardLink("root/a", "root/b"), "which is not a file of the package");
}

TEST_F(TemSet, RefusesAHardLinkThroughALink) {
    expectRefused(os().file("root/d/x", "x").link("root/l", "d").hardLink("root/a", "root/l/x"),
                  "which is not a file of the package");
}

TEST_F(TemSet, RefusesDevicesAndPipes) {
    expectRefused(os().device("root/null"), "is neither a file, a directory nor a link");
    expectRefused(os().pipe("root/p"), "is neither a file, a directory nor a link");
}

TEST_F(TemSet, RefusesASetIdFileThatTheManifestDoesNotList) {
    expectRefused(os().file("root/su", "x", 04755), "is set-id and not in the manifest's list");
    expectRefused(os().file("root/su", "x", 02755), "is set-id and not in the manifest's list");
}

TEST_F(TemSet, TakesASetIdFileThatTheManifestLists) {
    ASSERT_EQ(node.set({node.package("p.tar",
                                     Package()
                                         .manifest(osManifest("os", "1", "setid = [\"/bin/su\"]\n"))
                                         .file("root/bin/su", "x", 04755))})
                  .code,
              0);
    struct stat st {};
    ASSERT_EQ(stat(node.templates("os/1/root/bin/su").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 04755U);
}

TEST_F(TemSet, RefusesAnotherNameForASetIdFile) {
    expectRefused(Package()
                      .manifest(osManifest("os", "1", "setid = [\"bin/su\"]\n"))
                      .file("root/bin/su", "x", 04755)
                      .hardLink("root/bin/other", "root/bin/su"),
                  "'bin/other' is set-id");
}

TEST_F(TemSet, RefusesASetUserIdDirectory) {
    expectRefused(os().directory("root/d", 04755), "'d' is set-id");
}

TEST_F(TemSet, RefusesNamesThatTheAreaKeeps) {
    expectRefused(os().file("root/d/._qxlnk_.", "x"), "keeps for itself");
    expectRefused(os().file("root/.qxpkgref", "x"), "keeps for itself");
}

TEST_F(TemSet, RefusesEntriesBesideTheRoot) {
    expectRefused(os().file("other", "x"), "is neither template.toml nor below root/");
}

TEST_F(TemSet, RefusesAnEntryThatIsThereTwice) {
    expectRefused(os().file("root/f", "1").file("root/f", "2"), "'f' exists twice");
    expectRefused(os().manifest(osManifest("os", "2")), "holds template.toml twice");
}

TEST_F(TemSet, RefusesAFileThatIsNoArchive) {
    std::ofstream(node.file("text")) << std::string(5000, 'x');
    expectRefused(node.file("text"), "Unrecognized archive format");
    std::ofstream(node.file("empty")) << "";
    expectRefused(node.file("empty"), "Unrecognized archive format");
}

TEST_F(TemSet, RefusesADirectoryAndAMissingFile) {
    EXPECT_EQ(node.set({node.file("")}).code, QXA::kTemDamaged);
    const Outcome outcome = node.set({node.file("nothing")});
    EXPECT_NE(outcome.code, 0);
    EXPECT_THAT(outcome.message, HasSubstr("No such file or directory"));
}

TEST_F(TemSet, RefusesAnArchiveCutShortAnywhere) {
    const std::string whole =
        node.package("whole.tar", os().file("root/f", std::string(3000, 'f')).file("root/g", "g"));
    // Three headers with their contents, then the two blocks of zeros that mark the end.
    constexpr std::uintmax_t kMarkedEnd = 512 + 512 + 512 + 3072 + 512 + 512 + 1024;
    ASSERT_GE(fs::file_size(whole), kMarkedEnd);
    for (std::uintmax_t cut = 512; cut < kMarkedEnd; cut += 512) {
        fs::copy_file(whole, node.file("cut.tar"), fs::copy_options::overwrite_existing);
        fs::resize_file(node.file("cut.tar"), cut);
        const Outcome outcome = node.set({node.file("cut.tar")});
        EXPECT_NE(outcome.code, 0) << cut;
        EXPECT_EQ(node.ls().text, "") << cut;
    }
}

TEST_F(TemSet, RefusesACompressedArchiveCutShort) {
    const std::string whole = Package("gzip")
                                  .manifest(osManifest("os", "1"))
                                  .file("root/f", std::string(200000, 'f') + "g")
                                  .write(node.file("p.tar.gz"));
    fs::resize_file(whole, fs::file_size(whole) / 2);
    const Outcome outcome = node.set({whole});
    EXPECT_EQ(outcome.code, QXA::kTemDamaged) << outcome.message;
}

TEST_F(TemSet, RefusesAHugeManifest) {
    expectRefused(Package().manifest(std::string(std::size_t{2} << 20, '#')),
                  "longer than 1048576 bytes");
}

TEST_F(TemSet, NamesTheFieldOfAWrongType) {
    expectRefused(Package().manifest(osManifest("os", "1", "summary = 5\n")),
                  "field 'summary' must be a string, not of type integer (line 5)");
}

TEST_F(TemSet, ArchiveWithoutManifestIsNotStandard) {
    const Outcome outcome = node.set({node.package("p.tar", Package().file("f", "x"))});
    EXPECT_EQ(outcome.code, QXA::kTemNotStandard);
    EXPECT_THAT(outcome.message, HasSubstr("holds no template.toml"));
}

TEST_F(TemSet, OtherTechnologyIsNotStandard) {
    const Outcome outcome = node.set(
        {node.package("p.tar", Package().manifest("technology = \"kr\"\nname = \"x\"\n"))});
    EXPECT_EQ(outcome.code, QXA::kTemNotStandard);
    EXPECT_THAT(outcome.message, HasSubstr("technology 'kr'"));
}

TEST_F(TemSet, MixedListIsNotStandardAndChangesNothing) {
    const std::string before = Node::tree(node.templates());
    const std::string good = node.package("good.tar", os());
    const std::string other = node.package("kr.tar", Package().manifest("technology = \"kr\"\n"));
    std::ofstream(node.file("bad")) << "x";
    EXPECT_EQ(node.set({good, other}).code, QXA::kTemNotStandard);
    EXPECT_EQ(node.set({node.file("bad"), other}).code, QXA::kTemNotStandard);
    expectUnchanged(before);
}

TEST_F(TemSet, ListIsAllOrNothing) {
    const std::string before = Node::tree(node.templates());
    const std::string good = node.package("good.tar", os());
    const std::string bad =
        node.package("bad.tar", Package().manifest(osManifest("os", "2")).file("root/../x", "x"));
    EXPECT_EQ(node.set({good, bad}).code, QXA::kTemDamaged);
    expectUnchanged(before);
}

TEST_F(TemSet, LeavesNoNameWhenThatOfALaterPackageCannotBeMade) {
    std::ofstream(node.templates("second")) << "in its place";
    const std::string before = Node::tree(node.templates());
    const auto named = [&](const std::string& name) {
        return node.package(name + ".tar", Package().manifest(osManifest(name, "1")));
    };
    EXPECT_EQ(node.set({named("first"), named("second")}).code, -1);
    expectUnchanged(before);
}

TEST_F(TemSet, EmptyListIsNothing) {
    const Outcome outcome = node.set({});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.text, "");
}

TEST_F(TemSet, VersionThatIsThereNeedsForce) {
    node.installOs();
    const std::string again = node.package("again.tar", os().file("root/new", "n"));
    const Outcome refused = node.set({again});
    EXPECT_EQ(refused.code, QXA::kTemConflict);
    EXPECT_THAT(refused.message, HasSubstr("template 'os/1' already exists"));
    EXPECT_FALSE(fs::exists(node.templates("os/1/root/new")));
    EXPECT_EQ(node.set({again}, true).code, 0);
    EXPECT_TRUE(fs::exists(node.templates("os/1/root/new")));
    EXPECT_FALSE(fs::exists(node.templates("os/1/root/etc")));
}

TEST_F(TemSet, OneTemplateTwiceInAListIsAConflictEvenWithForce) {
    const std::string one = node.package("one.tar", os());
    EXPECT_EQ(node.set({one, one}, true).code, QXA::kTemConflict);
}

TEST_F(TemSet, NameOfTheOtherKindIsAConflict) {
    node.installOs();
    const std::string app = node.package("app.tar", Package().manifest(appManifest("os", "2")));
    const Outcome outcome = node.set({app});
    EXPECT_EQ(outcome.code, QXA::kTemConflict);
    EXPECT_THAT(outcome.message, HasSubstr("has the name of an OS template"));
    EXPECT_EQ(node.set({app}, true).code, 0);
}

TEST_F(TemSet, OtherMachineOrPlatformIsIncompatible) {
    const std::string foreign = node.package(
        "f.tar", Package().manifest(osManifest("os", "1", "architecture = \"s390x\"\n")));
    const std::string platform =
        node.package("w.tar", Package().manifest(osManifest("os", "1", "platform = \"Other\"\n")));
    EXPECT_EQ(node.set({foreign}).code, QXA::kTemConflict);
    EXPECT_EQ(node.set({platform}).code, QXA::kTemConflict);
    EXPECT_EQ(node.set({foreign}, true).code, 0);
}

TEST_F(TemSet, ApplicationNeedsItsOsTemplate) {
    const std::string app =
        node.package("app.tar", Package().manifest(appManifest(
                                    "app", "1", "base_os = [{name = \"os\", version = \"1\"}]\n")));
    const Outcome alone = node.set({app});
    EXPECT_EQ(alone.code, QXA::kTemDamaged);
    EXPECT_THAT(alone.message, HasSubstr("lacks its OS template; it is made for os/1"));
    node.installOs("2");
    EXPECT_EQ(node.set({app}, true).code, QXA::kTemDamaged);
    const Outcome together = node.set({app, node.package("os.tar", os())});
    EXPECT_EQ(together.code, 0) << together.message;
    EXPECT_EQ(together.text, "app/1:app os/1:os");
}

TEST_F(TemSet, ReleasesTheLockWhenItFails) {
    EXPECT_EQ(node.run([&](std::string&) {
                      std::vector<QXA::QXAPackageInfo> infos;
                      QXA::QXATEMLocal(nullptr).set({"/nothing"}, false, infos);
                      setenv("QX_LOCK_WAIT", "0", 1);
                      return QXA::QXATEMLocal(nullptr).cache({});
                  })
                  .code,
              0);
}

}  // namespace
