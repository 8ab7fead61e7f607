// Listing, describing and removing the node's templates, their caches, and packing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "QXA/QXATemplatePackage.h"
#include "QXL/QXLError.h"
#include "QXL/QXLLockPolicy.h"
#include "layout/lock.h"
#include "layout/paths.h"
#include "tests/support/lock_holder.h"
#include "tests/unit/node/tem_node.h"

namespace {

using qx_test::LockHolder;
using tem_test::appManifest;
using tem_test::Node;
using tem_test::osManifest;
using tem_test::Outcome;
using tem_test::Package;
using testing::HasSubstr;

namespace fs = std::filesystem;

class TemNode : public testing::Test {
protected:
    void SetUp() override { QX_SKIP_WITHOUT_NODE(); }

    void install(const Package& package) {
        const Outcome outcome = node.set({node.package("p.tar", package)});
        ASSERT_EQ(outcome.code, 0) << outcome.message;
    }

    Outcome get(const QXA::QXATemplate& key) {
        return node.run([&](std::string& text) {
            QXA::QXAPackageInfo info;
            const int code = QXA::QXATEMLocal(nullptr).get(key, info);
            text = info.name + "|" + info.vendor + "|" + info.origin;
            for (const auto& version : info.versions) {
                text += "|" + version.version;
            }
            return code;
        });
    }

    Outcome config(const QXA::QXATemplate& key) {
        return node.run([&](std::string& text) {
            QXA::QXATemplateConfigInfo info;
            const int code = QXA::QXATEMLocal(nullptr).getTemplateConfig(key, info);
            text = info.name + "/" + info.version + "|" + info.summary;
            return code;
        });
    }

    Node node;
};

TEST_F(TemNode, ListsByNameAndVersionOfTheAskedKind) {
    node.installOs("10");
    node.installOs("9");
    node.installApp();
    EXPECT_EQ(node.ls().text, "app/1:app os/9:os os/10:os");
    EXPECT_EQ(node.ls(QXA::QXATEMLocal::kOsTemplates).text, "os/9:os os/10:os");
    EXPECT_EQ(node.ls(QXA::QXATEMLocal::kApplicationTemplates).text, "app/1:app");
}

TEST_F(TemNode, AppendsToWhatIsThere) {
    node.installOs();
    EXPECT_EQ(node.run([&](std::string& text) {
                      std::vector<QXA::QXAPackageInfo> infos(1);
                      const int code = QXA::QXATEMLocal(nullptr).ls(
                          infos, QXL::QXLEID::EID_LOCAL, QXA::QXATEMLocal::kAllTemplates);
                      text = std::to_string(infos.size());
                      return code;
                  })
                  .text,
              "2");
}

TEST_F(TemNode, OtherTreesOfTheAreaAreNotListed) {
    node.installOs();
    fs::create_directories(node.templates("kr/centos/app"));
    fs::create_directories(node.templates("vc/1111"));
    fs::create_directories(node.templates("empty"));
    EXPECT_EQ(node.ls().text, "os/1:os");
}

TEST_F(TemNode, GetWithoutVersionGivesAllWithVersionThatOne) {
    install(Package().manifest(osManifest("os", "2", "vendor = \"V\"\norigin = \"O\"\n")));
    node.installOs("1");
    EXPECT_EQ(get({"os", ""}).text, "os|V|O|1|2");
    EXPECT_EQ(get({"os", "2"}).text, "os|V|O|2");
}

TEST_F(TemNode, UnknownNamesAndVersionsHaveTheirCodes) {
    node.installOs();
    for (const char* name : {"nothing", "", "..", "kr", "a/b"}) {
        EXPECT_EQ(get({name, ""}).code, QXA::kTemUnknownTemplate) << name;
        EXPECT_EQ(config({name, "1"}).code, QXA::kTemUnknownTemplate) << name;
    }
    EXPECT_EQ(get({"os", "2"}).code, QXA::kTemUnknownVersion);
    EXPECT_EQ(config({"os", "2"}).code, QXA::kTemUnknownVersion);
    EXPECT_EQ(node.unset({{"nothing", ""}}).code, QXA::kTemUnknownTemplate);
    EXPECT_EQ(node.unset({{"os", "2"}}).code, QXA::kTemUnknownVersion);
    EXPECT_EQ(node.cache({{"nothing", ""}}).code, QXA::kTemUnknownTemplate);
    EXPECT_EQ(node.cache({{"os", "2"}}).code, QXA::kTemUnknownVersion);
}

TEST_F(TemNode, UnreadableManifestHasAnotherCodeAndHidesNothingElse) {
    node.installOs("1");
    node.installOs("2");
    std::ofstream(node.templates("os/1/template.toml")) << "summary = \n";
    const Outcome outcome = config({"os", "1"});
    EXPECT_NE(outcome.code, 0);
    EXPECT_NE(outcome.code, QXA::kTemUnknownTemplate);
    EXPECT_NE(outcome.code, QXA::kTemUnknownVersion);
    EXPECT_THAT(outcome.message, HasSubstr("/qx/template/os/1/template.toml"));
    EXPECT_THAT(node.ls().text, HasSubstr("os/2:os"));
    EXPECT_EQ(get({"os", ""}).code, 0);
}

TEST_F(TemNode, ManifestOfAnotherTemplateIsRefused) {
    node.installOs();
    std::ofstream(node.templates("os/1/template.toml")) << osManifest("other", "1");
    EXPECT_THAT(config({"os", "1"}).message, HasSubstr("is the manifest of 'other/1'"));
}

TEST_F(TemNode, ChangedManifestIsReadAgainInTheSameProcess) {
    node.installOs();
    const std::string next =
        node.package("next.tar", Package().manifest(osManifest("os", "1", "summary = \"new\"\n")));
    EXPECT_EQ(node.run([&](std::string& text) {
                      QXA::QXATemplateConfigInfo before;
                      QXA::QXATemplateConfigInfo after;
                      std::vector<QXA::QXAPackageInfo> infos;
                      QXA::QXATEMLocal(nullptr).getTemplateConfig({"os", "1"}, before);
                      QXA::QXATEMLocal(nullptr).set({next}, true, infos);
                      QXA::QXATEMLocal(nullptr).getTemplateConfig({"os", "1"}, after);
                      text = before.summary + "|" + after.summary;
                      return 0;
                  })
                  .text,
              "|new");
}

TEST_F(TemNode, UnsetRemovesOneVersionOrAll) {
    node.installOs("1");
    node.installOs("2");
    node.installOs("3");
    ASSERT_EQ(node.unset({{"os", "2"}}).code, 0);
    EXPECT_EQ(node.ls().text, "os/1:os os/3:os");
    ASSERT_EQ(node.unset({{"os", ""}}).code, 0);
    EXPECT_EQ(node.ls().text, "");
    EXPECT_FALSE(fs::exists(node.templates("os")));
    EXPECT_FALSE(fs::exists(node.templates(".qxtem/staging")));
}

TEST_F(TemNode, UnsetIsAllOrNothing) {
    node.installOs();
    EXPECT_NE(node.unset({{"os", "1"}, {"nothing", ""}}).code, 0);
    EXPECT_EQ(node.ls().text, "os/1:os");
}

TEST_F(TemNode, EmptyUnsetDoesNothing) {
    node.installOs();
    EXPECT_EQ(node.unset({}).code, 0);
    EXPECT_EQ(node.ls().text, "os/1:os");
}

TEST_F(TemNode, OsTemplateThatAnApplicationNeedsStays) {
    node.installOs("1");
    node.installOs("2");
    node.installApp();
    EXPECT_EQ(node.unset({{"os", "1"}}).code, 0) << "version 2 still serves";
    const Outcome outcome = node.unset({{"os", "2"}});
    EXPECT_EQ(outcome.code, QXA::kTemConflict);
    EXPECT_THAT(outcome.message, HasSubstr("needed by application template(s) app/1"));
    EXPECT_EQ(node.unset({{"os", ""}, {"app", "1"}}).code, 0);
}

TEST_F(TemNode, CacheWritesAnArchiveBesideTheManifest) {
    node.installOs();
    ASSERT_EQ(node.cache({{"os", ""}}).code, 0);
    const std::string first = qx_test::read_file(node.templates("os/1/cache.tar.gz"));
    EXPECT_GT(first.size(), 0U);
    ASSERT_EQ(node.cache({{"os", "1"}}).code, 0);
    EXPECT_EQ(qx_test::read_file(node.templates("os/1/cache.tar.gz")), first);
    EXPECT_EQ(node.ls().text, "os/1:os");
}

TEST_F(TemNode, EmptyCacheListMeansEveryOsTemplate) {
    node.installOs("1");
    node.installOs("2");
    node.installApp();
    ASSERT_EQ(node.cache({}).code, 0);
    EXPECT_TRUE(fs::exists(node.templates("os/1/cache.tar.gz")));
    EXPECT_TRUE(fs::exists(node.templates("os/2/cache.tar.gz")));
    EXPECT_FALSE(fs::exists(node.templates("app/1/cache.tar.gz")));
}

TEST_F(TemNode, ApplicationTemplatesHaveNoCache) {
    node.installOs();
    node.installApp();
    const Outcome outcome = node.cache({{"os", ""}, {"app", ""}});
    EXPECT_NE(outcome.code, 0);
    EXPECT_THAT(outcome.message, HasSubstr("'app/1' is not an OS template"));
    EXPECT_FALSE(fs::exists(node.templates("os/1/cache.tar.gz")));
}

TEST_F(TemNode, WriterThatWaitsTooLongNamesTheHolder) {
    node.installOs();
    const Outcome outcome = node.run([&](std::string& text) {
        const LockHolder holder(qxnode::kTemplateLock);
        setenv("QX_LOCK_WAIT", "0", 1);
        const int code = QXA::QXATEMLocal(nullptr).unset({{"os", "1"}});
        const std::string message = QXL::getErrorMessage();
        text = std::to_string(QXL::getLastErrorData().code) +
               (message.find(holder.name()) == std::string::npos ? " not named" : " named");
        return code;
    });
    EXPECT_NE(outcome.code, 0);
    EXPECT_EQ(outcome.text, "75 named") << outcome.message;
    EXPECT_EQ(node.ls().text, "os/1:os");
}

// The call's code and that of the last error, while another holds the templates' lock.
Outcome callWhileHeld(const Node& node, qxnode::FileLock::Mode mode,
                      const std::function<int(QXA::QXATEMLocal&)>& call) {
    return node.run([&](std::string& text) {
        const LockHolder holder(qxnode::kTemplateLock, mode);
        setenv("QX_LOCK_WAIT", "0", 1);
        QXA::QXATEMLocal manager(nullptr);
        const int code = call(manager);
        text = std::to_string(QXL::getLastErrorData().code);
        return code;
    });
}

TEST_F(TemNode, TemplatesDoNotGoWhileOneIsAdded) {
    node.installOs();
    node.makeContainer();
    const auto add = [](QXA::QXATEMLocal& manager) {
        return manager.add(Node::containerEid(), {{"os", ""}}, false, false);
    };
    const auto unset = [](QXA::QXATEMLocal& manager) { return manager.unset({{"os", ""}}); };
    using Mode = qxnode::FileLock::Mode;
    EXPECT_EQ(callWhileHeld(node, Mode::exclusive, add).text, "75");
    EXPECT_EQ(callWhileHeld(node, Mode::shared, unset).text, "75");
    EXPECT_EQ(callWhileHeld(node, Mode::shared, add).code, 0);
    EXPECT_EQ(node.lsContainer().text, "os/1:os");
}

TEST_F(TemNode, TemplatesDoNotGoWhileAContainerIsMadeOfOne) {
    node.installOs();
    const auto create = [](QXA::QXATEMLocal&) {
        QXA::QXAEnvSpec spec;
        spec.veid = 101;
        spec.osTemplate = "os";
        return QXA::QXAEnvMLocal(nullptr).create(spec, nullptr);
    };
    using Mode = qxnode::FileLock::Mode;
    EXPECT_EQ(callWhileHeld(node, Mode::exclusive, create).text, "75");
    EXPECT_EQ(callWhileHeld(node, Mode::shared, create).code, 0);
}

TEST_F(TemNode, CachesAreBuiltByOneAtATime) {
    node.installOs();
    const auto cache = [](QXA::QXATEMLocal& manager) { return manager.cache({}); };
    EXPECT_EQ(callWhileHeld(node, qxnode::FileLock::Mode::shared, cache).text, "75");
}

TEST_F(TemNode, ListenerAndLogHearForWhomARequestWaits) {
    node.installOs();
    const Outcome outcome = node.run([&](std::string& text) {
        LockHolder holder(qxnode::kTemplateLock);
        const std::string name = holder.name();
        QXL::setLockWaitListener([&](const std::string& line) {
            text = line.find(name) == std::string::npos ? line : "named";
            holder.letGo();
        });
        return QXA::QXATEMLocal(nullptr).cache({});
    });
    EXPECT_EQ(outcome.code, 0) << outcome.message;
    EXPECT_EQ(outcome.text, "named");
    EXPECT_THAT(qx_test::read_file(node.path() + "/var/lib/qxagent/agent.log"),
                HasSubstr("waiting for '/qx/template/.lock', held by pid "));
}

class TemPack : public TemNode {
protected:
    void SetUp() override {
        TemNode::SetUp();
        fs::create_directories(node.file("src/root/etc"));
        std::ofstream(node.file("src/template.toml")) << osManifest("os", "1");
        std::ofstream(node.file("src/root/etc/b")) << "b";
        std::ofstream(node.file("src/root/etc/a")) << "a";
        fs::create_symlink("a", node.file("src/root/etc/l"));
        fs::create_hard_link(node.file("src/root/etc/a"), node.file("src/root/etc/h"));
    }

    Outcome pack(const std::string& name) {
        return node.run(
            [&](std::string&) { return QXA::packTemplate(node.file("src"), node.file(name)); });
    }
};

TEST_F(TemPack, PackedFolderInstallsAsItWas) {
    for (const char* name : {"p.tar", "p.tar.gz", "p.tar.xz", "p.tar.zst"}) {
        const Outcome packed = pack(name);
        ASSERT_EQ(packed.code, 0) << packed.message;
        ASSERT_EQ(node.set({node.file(name)}, true).code, 0);
        EXPECT_EQ(Node::tree(node.templates("os/1/root")), Node::tree(node.file("src/root")));
    }
}

TEST_F(TemPack, SameFolderGivesTheSameBytes) {
    ASSERT_EQ(pack("one.tar.gz").code, 0);
    ASSERT_EQ(pack("two.tar.gz").code, 0);
    EXPECT_EQ(qx_test::read_file(node.file("one.tar.gz")),
              qx_test::read_file(node.file("two.tar.gz")));
}

TEST_F(TemPack, RefusesWhatAnInstallationWouldRefuse) {
    fs::create_symlink("../../../out", node.file("src/root/etc/out"));
    const Outcome outcome = pack("p.tar");
    EXPECT_EQ(outcome.code, -1);
    EXPECT_THAT(outcome.message, HasSubstr("is a symbolic link that leads out"));
    EXPECT_FALSE(fs::exists(node.file("p.tar")));
}

TEST_F(TemPack, RefusesABadManifestAndAnUnknownEnding) {
    EXPECT_THAT(pack("p.zip").message, HasSubstr("its name must end in"));
    std::ofstream(node.file("src/template.toml")) << "kind = 1\n";
    EXPECT_THAT(pack("p.tar").message, HasSubstr("field 'technology' is missing"));
}

TEST_F(TemPack, LeavesNothingBesideWhenItFails) {
    EXPECT_NE(pack("missing/p.tar").code, 0);
    std::ofstream(node.file("src/root/etc/._qxlnk_.")) << "x";
    EXPECT_NE(pack("p.tar").code, 0);
    for (const auto& entry : fs::directory_iterator(node.file(""))) {
        EXPECT_EQ(entry.path().filename().string().find("p.tar"), std::string::npos);
    }
}

}  // namespace
