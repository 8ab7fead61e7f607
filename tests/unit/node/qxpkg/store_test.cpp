// Installing, updating and removing KR templates of a node.
#include <gtest/gtest.h>
#include <sys/mount.h>

#include "layout/lock.h"
#include "layout/paths.h"
#include "node/kr/cache.h"
#include "node/qxpkg/failure.h"
#include "node/qxpkg/node/operations.h"
#include "node/qxpkg/node/template_list.h"
#include "tests/unit/node/qxpkg/kr_packages.h"

namespace {

using namespace qxpkg_test;
using qxpkg::Options;
using Words = std::vector<std::string>;

constexpr const char* kKr = "/qx/template/kr/";
constexpr const char* kUuid = "0a1b2c3d-0000-4000-8000-00000000000a";

std::string recordOf(const std::string& uuid) {
    return qxnode::formatKrCache({uuid, qxnode::krCacheFolder(uuid) + "/root", "now"});
}

Options forced() {
    Options options;
    options.force = true;
    return options;
}

class QxpkgStore : public testing::Test {
protected:
    void SetUp() override { QX_SKIP_WITHOUT_TEST_NODE(); }

    std::string package(const KrPackage& package) {
        return package.write(m_files.path("package" + std::to_string(m_count++) + ".tar"));
    }

    Outcome install(const Words& files, Options options = {}) const {
        options.quiet = true;
        return inNode(
            [&] { qxpkg::installNodeTemplates(files, options, qxpkg::Output(options.quiet)); });
    }

    Outcome update(const Words& files, Options options = {}) const {
        options.quiet = true;
        return inNode(
            [&] { qxpkg::updateNodeTemplates(files, options, qxpkg::Output(options.quiet)); });
    }

    Outcome removeOs(const Words& names, Options options = {}) const {
        return inNode([&] { qxpkg::removeOsTemplates(names, options, qxpkg::Output(true)); });
    }

    Outcome removeApp(const std::string& os, const Words& names, Options options = {}) const {
        return inNode(
            [&] { qxpkg::removeApplicationTemplates(os, names, options, qxpkg::Output(true)); });
    }

    // What the action gave, brought over from the child that sees the node.
    Outcome inNode(const std::function<void()>& action) const {
        const std::string code = m_files.path("code");
        m_node.run([&] {
            const Outcome outcome = outcomeOf(action);
            m_files.write("code", std::to_string(outcome.code));
            m_files.write("reason", outcome.reason);
            m_files.write("out", outcome.out);
            m_files.write("err", outcome.err);
        });
        return {std::stoi(qx_test::read_file(code)), qx_test::read_file(m_files.path("reason")),
                qx_test::read_file(m_files.path("out")), qx_test::read_file(m_files.path("err"))};
    }

    bool isThere(const std::string& nodePath) const {
        return std::filesystem::exists(m_node.path(nodePath));
    }

    std::string content(const std::string& nodePath) const {
        return qx_test::read_file(m_node.path(nodePath));
    }

    std::string templates() const {
        return isThere(kKr) ? treeText(m_node.path(kKr)) : "no KR template at all";
    }

    void writeCache(const std::string& os) const {
        m_node.write(kKr + os + "/cache.toml", recordOf(kUuid));
        m_node.write(std::string("/qx/template/vc/") + kUuid + "/root/file", "x");
    }

    void expectRefused(int code, const Outcome& outcome, const std::string& reason) const {
        EXPECT_EQ(outcome.code, code) << outcome.reason;
        EXPECT_NE(outcome.reason.find(reason), std::string::npos) << outcome.reason;
        EXPECT_EQ(outcome.out, "");
    }

    qx_test::TestNode m_node;
    qx_test::TempDir m_files;
    int m_count = 0;
};

TEST_F(QxpkgStore, InstalledTemplatesLieInTheirPlacesAndAreReported) {
    const Outcome outcome =
        install({package(osPackage("base", "1")
                             .file("keys/k.asc", "KEY")
                             .file("app/web.toml", appManifest("base", "web", "1"))),
                 package(appPackage("base", "db", "1"))});
    EXPECT_EQ(outcome.code, 0) << outcome.reason;
    EXPECT_EQ(outcome.out, ".base template\n.base .web\n.base .db\n");
    EXPECT_EQ(content("/qx/template/kr/base/template.toml"), osManifest("base", "1"));
    EXPECT_EQ(content("/qx/template/kr/base/app/web.toml"), appManifest("base", "web", "1"));
    EXPECT_EQ(content("/qx/template/kr/base/app/db.toml"), appManifest("base", "db", "1"));
    // Nothing names the key, so it has no place on the node.
    EXPECT_FALSE(isThere("/qx/template/kr/base/keys/k.asc"));
    EXPECT_FALSE(isThere("/qx/template/.qxtem/staging"));
}

TEST_F(QxpkgStore, AnApplicationMayStandBeforeItsOsTemplateInTheList) {
    EXPECT_EQ(
        install({package(appPackage("base", "web", "1")), package(osPackage("base", "1"))}).code,
        0);
    EXPECT_TRUE(isThere("/qx/template/kr/base/app/web.toml"));
}

TEST_F(QxpkgStore, AnApplicationIsAddedToAnOsTemplateOfTheNode) {
    install({package(osPackage("base", "1"))});
    const Outcome outcome = install({package(appPackage("base", "web", "1"))});
    EXPECT_EQ(outcome.code, 0) << outcome.reason;
    EXPECT_EQ(outcome.out, ".base .web\n");
}

TEST_F(QxpkgStore, AnApplicationWithoutItsOsTemplateFails) {
    const Outcome outcome = install({package(appPackage("base", "web", "1"))});
    expectRefused(1, outcome, "'.web' of '.base' lacks its OS template '.base'");
    EXPECT_FALSE(isThere("/qx/template/kr"));
}

TEST_F(QxpkgStore, ATemplateThatIsThereInAnyVersionIsRefusedUnlessForced) {
    install({package(osPackage("base", "1")), package(appPackage("base", "web", "1"))});
    const std::string before = templates();
    expectRefused(27, install({package(osPackage("base", "2"))}), "already exists, version 1");
    expectRefused(27, install({package(appPackage("base", "web", "2"))}), "already exists");
    EXPECT_EQ(templates(), before);
    EXPECT_EQ(install({package(osPackage("base", "2"))}, forced()).code, 0);
    EXPECT_EQ(content("/qx/template/kr/base/template.toml"), osManifest("base", "2"));
}

TEST_F(QxpkgStore, AListIsInstalledWholeOrNotAtAll) {
    install({package(osPackage("base", "1"))});
    const std::string before = templates();
    expectRefused(27, install({package(osPackage("other", "1")), package(osPackage("base", "1"))}),
                  "'.base' already exists");
    EXPECT_EQ(templates(), before);
}

TEST_F(QxpkgStore, AFileOfAnotherKindAnywhereInTheListCountsFirst) {
    install({package(osPackage("base", "1"))});
    KrPackage standard;
    standard.file("template.toml", "technology = \"standard\"\n");
    expectRefused(
        33,
        install({package(osPackage("base", "1")), package(osPackage("bad", "1").file("/evil", "x")),
                 m_files.path("nothing.tar"), package(standard)}),
        "not a KR template package");
}

TEST_F(QxpkgStore, ATemplateThatIsListedTwiceIsRefused) {
    expectRefused(27, install({package(osPackage("base", "1")), package(osPackage("base", "2"))}),
                  "listed twice");
    expectRefused(27,
                  install({package(osPackage("base", "1")), package(appPackage("base", "web", "1")),
                           package(appPackage("base", "web", "1"))}),
                  "listed twice");
}

TEST_F(QxpkgStore, AnotherMachinesTemplateIsRefusedUnlessForced) {
    const std::string file = package(osPackage("base", "1", "architecture = \"s390x\"\n"));
    expectRefused(27, install({file}), "is for architecture 's390x'");
    EXPECT_EQ(install({file}, forced()).code, 0);
}

TEST_F(QxpkgStore, ADryRunSaysWhatItWouldDoAndChangesNothing) {
    Options options;
    options.dryRun = true;
    const std::string before = templates();
    const Outcome outcome = install({package(osPackage("base", "1"))}, options);
    EXPECT_EQ(outcome.out, ".base template\n");
    EXPECT_EQ(templates(), before);
    install({package(osPackage("base", "1"))});
    const std::string installed = templates();
    EXPECT_EQ(removeOs({".base"}, options).out, ".base template\n");
    EXPECT_EQ(templates(), installed);
}

TEST_F(QxpkgStore, ARepositorysKeyMustBeThere) {
    const std::string repository =
        "[[repositories]]\nurl = \"file:///srv\"\nsuite = \"./\"\nkey = \"main.asc\"\n";
    expectRefused(1, install({package(osPackage("base", "1", repository))}),
                  "names the key 'main.asc'");
    EXPECT_EQ(
        install({package(osPackage("base", "1", repository).file("keys/main.asc", "KEY"))}).code,
        0);
    EXPECT_EQ(content("/qx/template/kr/base/keys/main.asc"), "KEY");
    EXPECT_EQ(install({package(appPackage("base", "web", "1", repository))}).code, 0);
}

TEST_F(QxpkgStore, AnApplicationDoesNotExchangeAKeyThatOthersRelyOn) {
    const std::string repository =
        "[[repositories]]\nurl = \"file:///srv\"\nsuite = \"./\"\nkey = \"main.asc\"\n";
    install({package(osPackage("base", "1", repository).file("keys/main.asc", "KEY"))});
    const std::string other =
        package(appPackage("base", "web", "1", repository).file("keys/main.asc", "OTHER"));
    expectRefused(27, install({other}), "its key 'main.asc' is not the one");
    EXPECT_EQ(content("/qx/template/kr/base/keys/main.asc"), "KEY");
    EXPECT_EQ(install({other}, forced()).code, 0);
    EXPECT_EQ(content("/qx/template/kr/base/keys/main.asc"), "OTHER");
}

TEST_F(QxpkgStore, AnApplicationOfOtherPackagingFails) {
    install({package(osPackage("base", "1"))});
    expectRefused(1, install({package(appPackage("base", "web", "1", "packaging = \"rpm\"\n"))}),
                  "is packed as rpm");
}

TEST_F(QxpkgStore, AnUpdateReplacesWhatIsOlder) {
    install({package(osPackage("base", "9")), package(appPackage("base", "web", "1"))});
    const Outcome outcome = update({package(osPackage("base", "10"))});
    EXPECT_EQ(outcome.code, 0) << outcome.reason;
    EXPECT_EQ(outcome.out, ".base template\n");
    EXPECT_EQ(content("/qx/template/kr/base/template.toml"), osManifest("base", "10"));
    EXPECT_EQ(content("/qx/template/kr/base/app/web.toml"), appManifest("base", "web", "1"));
}

TEST_F(QxpkgStore, AnUpdateOfWhatIsAsNewIsDoneAlready) {
    install({package(osPackage("base", "2")), package(appPackage("base", "web", "2"))});
    const std::string before = treeText(m_node.path(kKr));
    for (const char* version : {"1", "2"}) {
        const Outcome outcome = update({package(osPackage("base", version, "release = \"x\"\n")),
                                        package(appPackage("base", "web", version))});
        EXPECT_EQ(outcome.code, 0) << outcome.reason;
        EXPECT_EQ(outcome.out, ".base template\n.base .web\n");
        EXPECT_EQ(treeText(m_node.path(kKr)), before);
    }
}

TEST_F(QxpkgStore, AForcedUpdateGoesBackToo) {
    install({package(osPackage("base", "2"))});
    EXPECT_EQ(update({package(osPackage("base", "1"))}, forced()).code, 0);
    EXPECT_EQ(content("/qx/template/kr/base/template.toml"), osManifest("base", "1"));
}

TEST_F(QxpkgStore, AnUpdateOfWhatIsNotThereInstallsIt) {
    EXPECT_EQ(update({package(osPackage("base", "1"))}).out, ".base template\n");
    EXPECT_TRUE(isThere("/qx/template/kr/base/template.toml"));
}

TEST_F(QxpkgStore, AnUpdateKeepsTheCacheAndKeysThatApplicationsName) {
    const std::string repository =
        "[[repositories]]\nurl = \"file:///srv\"\nsuite = \"./\"\nkey = \"web.asc\"\n";
    install({package(osPackage("base", "1")),
             package(appPackage("base", "web", "1", repository).file("keys/web.asc", "KEY"))});
    writeCache("base");
    EXPECT_EQ(update({package(osPackage("base", "2"))}).code, 0);
    EXPECT_EQ(content("/qx/template/kr/base/keys/web.asc"), "KEY");
    EXPECT_EQ(content("/qx/template/kr/base/cache.toml"), recordOf(kUuid));
}

TEST_F(QxpkgStore, ABrokenManifestOfTheNodeCanBeReplacedAndRemoved) {
    m_node.write("/qx/template/kr/base/template.toml", "this is no manifest");
    expectRefused(27, install({package(osPackage("base", "1"))}), "already exists");
    EXPECT_EQ(update({package(osPackage("base", "1"))}).code, 0);
    m_node.write("/qx/template/kr/base/template.toml", "this is no manifest");
    EXPECT_EQ(removeOs({"base"}).code, 0);
    EXPECT_FALSE(isThere("/qx/template/kr/base"));
}

TEST_F(QxpkgStore, ARemovedOsTemplateTakesItsCacheAlong) {
    install({package(osPackage("base", "1"))});
    writeCache("base");
    const Outcome outcome = removeOs({".base"});
    EXPECT_EQ(outcome.code, 0) << outcome.reason;
    EXPECT_EQ(outcome.out, ".base template\n");
    EXPECT_FALSE(isThere("/qx/template/kr/base"));
    EXPECT_FALSE(isThere(std::string("/qx/template/vc/") + kUuid));
}

TEST_F(QxpkgStore, ACacheThatContainersCanStartFromGoesWithItsTemplate) {
    install({package(osPackage("base", "1"))});
    const std::string uuid = "0A1B2C3D-0000-4000-8000-00000000000A";
    m_node.write("/qx/template/kr/base/cache.toml", "uuid = \"" + uuid + "\"\n");
    m_node.write("/qx/template/vc/" + uuid + "/root/file", "x");
    const Outcome outcome = removeOs({".base"});
    EXPECT_EQ(outcome.code, 0) << outcome.reason;
    EXPECT_FALSE(isThere("/qx/template/vc/" + uuid));
}

TEST_F(QxpkgStore, ACacheRecordThatNamesNoCacheOfOursRemovesNothingElse) {
    install({package(osPackage("base", "1"))});
    m_node.write("/qx/template/standard/1/template.toml", "x");
    m_node.write("/qx/template/kr/base/cache.toml", "uuid = \"../standard\"\n");
    const Outcome outcome = removeOs({".base"});
    EXPECT_EQ(outcome.code, 0) << outcome.reason;
    EXPECT_NE(outcome.err.find("is not a UUID"), std::string::npos) << outcome.err;
    EXPECT_TRUE(isThere("/qx/template/standard/1/template.toml"));
}

TEST_F(QxpkgStore, AnUnknownTemplateFailsAndNothingOfTheListIsRemoved) {
    install({package(osPackage("base", "1")), package(appPackage("base", "web", "1"))});
    const std::string before = templates();
    expectRefused(1, removeOs({".base", ".nothing"}, forced()), "'.nothing' is not known");
    expectRefused(1, removeOs({"../base"}), "is not known");
    expectRefused(1, removeApp(".base", {".web", ".nothing"}),
                  "'.nothing' of '.base' is not known");
    expectRefused(1, removeApp(".nothing", {".web"}), "'.nothing' is not known");
    EXPECT_EQ(templates(), before);
}

TEST_F(QxpkgStore, ATemplateThatAContainerUsesIsKeptUnlessForced) {
    install({package(osPackage("base", "1")), package(appPackage("base", "web", "1")),
             package(appPackage("base", "db", "1"))});
    m_node.writeContainer(101, "OSTEMPLATE=\".base\"\nTEMPLATES=\".web\"\n");
    Options dependents;
    dependents.withDependents = true;
    expectRefused(27, removeOs({".base"}, dependents), "is used by container(s) 101");
    expectRefused(27, removeApp(".base", {".web"}), "is used by container(s) 101");
    EXPECT_EQ(removeApp(".base", {".db"}).out, ".base .db\n");
    EXPECT_EQ(removeApp(".base", {".web"}, forced()).code, 0);
    EXPECT_EQ(removeOs({".base"}, forced()).code, 0);
}

TEST_F(QxpkgStore, TemplatesOfOtherContainersDoNotCount) {
    install({package(osPackage("base", "1")), package(appPackage("base", "web", "1"))});
    m_node.writeContainer(101, "OSTEMPLATE=\"base\"\nTEMPLATES=\".web\"\n");
    m_node.writeContainer(102, "OSTEMPLATE=\".other\"\nTEMPLATES=\".web\"\n");
    EXPECT_EQ(removeApp(".base", {".web"}).code, 0);
    EXPECT_EQ(removeOs({".base"}).code, 0);
}

TEST_F(QxpkgStore, AContainerThatCannotBeReadKeepsTemplatesUnlessForced) {
    install({package(osPackage("base", "1"))});
    m_node.writeContainer(101, "this is no configuration\n");
    expectRefused(27, removeOs({".base"}), "cannot tell whether container 101 uses");
    EXPECT_EQ(removeOs({".base"}, forced()).code, 0);
}

TEST_F(QxpkgStore, NothingIsRemovedWhereTheContainersAreNotKnown) {
    install({package(osPackage("base", "1"))});
    const Outcome outcome = inNode([] {
        // Hides the folder of configurations in the private view of this process.
        ASSERT_EQ(mount("tmpfs", "/etc/sysconfig", "tmpfs", 0, nullptr), 0);
        qxpkg::removeOsTemplates({".base"}, forced(), qxpkg::Output(true));
    });
    expectRefused(1, outcome, "cannot tell which templates are in use");
    EXPECT_TRUE(isThere("/qx/template/kr/base/template.toml"));
}

TEST_F(QxpkgStore, AnOsTemplateWithApplicationsIsKeptUnlessTheyMayGo) {
    install({package(osPackage("base", "1")), package(appPackage("base", "web", "1"))});
    expectRefused(27, removeOs({".base"}), "has application template(s) '.web'");
    Options dependents;
    dependents.withDependents = true;
    EXPECT_EQ(removeOs({".base"}, dependents).out, ".base .web\n.base template\n");
    EXPECT_FALSE(isThere("/qx/template/kr/base"));
}

TEST_F(QxpkgStore, AnApplicationsOwnKeysGoWithIt) {
    const auto repository = [](const std::string& key) {
        return "[[repositories]]\nurl = \"file:///srv\"\nsuite = \"./\"\nkey = \"" + key + "\"\n";
    };
    install({package(osPackage("base", "1", repository("a")).file("keys/a", "A")),
             package(appPackage("base", "web", "1", repository("a") + repository("b"))
                         .file("keys/b", "B"))});
    ASSERT_TRUE(isThere("/qx/template/kr/base/keys/b"));
    EXPECT_EQ(removeApp(".base", {"web"}).code, 0);
    EXPECT_TRUE(isThere("/qx/template/kr/base/keys/a"));
    EXPECT_FALSE(isThere("/qx/template/kr/base/keys/b"));
}

TEST_F(QxpkgStore, WhatAKilledWriterCommittedIsFinishedFirst) {
    install({package(osPackage("base", "1"))});
    const std::string staged = m_node.path("/qx/template/.qxtem/staging/0/template.toml");
    m_node.write("/qx/template/.qxtem/staging/0/template.toml", osManifest("late", "1"));
    struct stat st {};
    ASSERT_EQ(stat(std::filesystem::path(staged).parent_path().c_str(), &st), 0);
    m_node.write("/qx/template/.qxtem/journal",
                 "qxtem-journal 1\ngeneration 9\nstate pending\nplace " +
                     std::to_string(st.st_ino) + " .qxtem/staging/0 kr/late\n");
    expectRefused(27, install({package(osPackage("late", "2"))}), "already exists, version 1");
    EXPECT_EQ(content("/qx/template/kr/late/template.toml"), osManifest("late", "1"));
}

TEST_F(QxpkgStore, WhatAKilledWriterDidNotCommitIsRemoved) {
    m_node.write("/qx/template/.qxtem/staging/0/root/file", "half");
    EXPECT_EQ(install({package(osPackage("base", "1"))}).code, 0);
    EXPECT_FALSE(isThere("/qx/template/.qxtem/staging"));
}

TEST_F(QxpkgStore, ALockThatIsNotHadInTimeHasACodeOfItsOwnAndNamesTheHolder) {
    qxnode::FileLock lock;
    std::string error;
    ASSERT_EQ(lock.acquire(m_node.path("/qx/template/.lock"), qxnode::LockWait::forever(), error),
              qxnode::FileLock::Result::acquired);
    Options options;
    options.wait = qxnode::LockWait::atMost(std::chrono::milliseconds(1));
    const Outcome outcome = install({package(osPackage("base", "1"))}, options);
    expectRefused(75, outcome, "held by pid");
    EXPECT_NE(outcome.err.find("waiting for"), std::string::npos) << outcome.err;
}

TEST_F(QxpkgStore, ListingsAreLinesOrTablesOrJson) {
    install({package(osPackage("base", "1")), package(appPackage("base", "web", "2"))});
    const auto listing = [&](const Words& names, qxpkg::ListFormat format, bool quiet) {
        return inNode([&] { qxpkg::listTemplates(names, format, qxpkg::Output(quiet)); });
    };
    EXPECT_EQ(listing({}, qxpkg::ListFormat::table, true).out, ".base template\n.base .web\n");
    EXPECT_NE(listing({"base"}, qxpkg::ListFormat::table, false).out.find("summary of base"),
              std::string::npos);
    EXPECT_NE(listing({}, qxpkg::ListFormat::json, false).out.find("\"name\": \".web\""),
              std::string::npos);
    EXPECT_EQ(listing({"nothing"}, qxpkg::ListFormat::json, false).code, 1);
}

TEST_F(QxpkgStore, AnEmptyNodeListsNothing) {
    const Outcome outcome =
        inNode([] { qxpkg::listTemplates({}, qxpkg::ListFormat::json, qxpkg::Output(false)); });
    EXPECT_EQ(outcome.code, 0) << outcome.reason;
    EXPECT_NE(outcome.out.find("\"templates\": []"), std::string::npos) << outcome.out;
}

TEST_F(QxpkgStore, CachesOfUnknownTemplatesFailAndExistingOnesAreRefused) {
    install({package(osPackage("base", "1"))});
    writeCache("base");
    const std::string before = templates();
    const auto create = [&](const Words& names) {
        return inNode([&] { qxpkg::createCaches(names, {}, qxpkg::Output(true)); });
    };
    expectRefused(1, create({".nothing"}), "'.nothing' is not known");
    expectRefused(27, create({".base"}), "has a cache already");
    expectRefused(1, inNode([&] { qxpkg::updateCaches({".nothing"}, {}, qxpkg::Output(true)); }),
                  "'.nothing' is not known");
    EXPECT_EQ(templates(), before);
    EXPECT_TRUE(isThere(std::string("/qx/template/vc/") + kUuid + "/root/file"));
}

TEST_F(QxpkgStore, AnUpdateOfAllCachesOfANodeWithoutAnyIsDone) {
    install({package(osPackage("base", "1"))});
    const Outcome outcome = inNode([&] { qxpkg::updateCaches({}, {}, qxpkg::Output(true)); });
    EXPECT_EQ(outcome.code, 0) << outcome.reason;
    EXPECT_FALSE(isThere("/qx/template/kr/base/cache.toml"));
}

}  // namespace
