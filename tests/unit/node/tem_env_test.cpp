// Creating, listing and removing containers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/unit/node/tem_node.h"

namespace {

using tem_test::Node;
using tem_test::Outcome;
using testing::HasSubstr;

namespace fs = std::filesystem;

class TemEnv : public testing::Test {
protected:
    void SetUp() override { QX_SKIP_WITHOUT_NODE(); }

    Outcome destroy(int veid = 101) {
        return node.run([&](std::string&) { return QXA::QXAEnvMLocal(nullptr).destroy(veid); });
    }

    Outcome create(const std::function<void(QXA::QXAEnvSpec&)>& change) {
        return node.run([&](std::string& text) {
            QXA::QXAEnvSpec spec;
            spec.veid = 101;
            change(spec);
            QXA::QXAEnvRecord record;
            const int code = QXA::QXAEnvMLocal(nullptr).create(spec, &record);
            text = record.privateArea + "|" + record.osTemplate + "|" + record.type + "|" +
                   std::to_string(record.eid.isValid());
            return code;
        });
    }

    Outcome list() {
        return node.run([&](std::string& text) {
            std::vector<QXA::QXAEnvRecord> records;
            const int code = QXA::QXAEnvMLocal(nullptr).list(records);
            for (const auto& record : records) {
                text += std::to_string(record.veid) + " ";
            }
            return code;
        });
    }

    void makeKr(const std::string& cache) {
        fs::create_directories(node.templates("kr/deb"));
        std::ofstream(node.templates("kr/deb/template.toml")) << "name = \"deb\"\n";
        if (!cache.empty()) {
            std::ofstream(node.templates("kr/deb/cache.toml")) << cache;
        }
    }

    Node node;
};

constexpr const char* kUuid = "0f0e0d0c-0b0a-0908-0706-050403020100";

TEST_F(TemEnv, EmptyContainerHasItsLayout) {
    const Outcome outcome = create([](QXA::QXAEnvSpec&) {});
    ASSERT_EQ(outcome.code, 0) << outcome.message;
    EXPECT_EQ(outcome.text, "/qx/private/101||meridane|1");
    EXPECT_TRUE(fs::is_directory(node.area("root")));
    EXPECT_TRUE(fs::is_directory(node.area("lost_files")));
    EXPECT_EQ(fs::read_symlink(node.area("VERSION")), "005.004");
    EXPECT_FALSE(fs::exists(node.area(".qxtemplates/unfinished")));
    EXPECT_EQ(list().text, "101 ");
}

TEST_F(TemEnv, OsTemplateWithoutCacheIsAdded) {
    node.installOs();
    const Outcome outcome = node.create("os");
    ASSERT_EQ(outcome.code, 0) << outcome.message;
    EXPECT_EQ(outcome.text, "os/1");
    EXPECT_EQ(node.read("etc/release"), "////os/1/root/etc/release");
}

TEST_F(TemEnv, CacheGivesTheSameContainerAsAdding) {
    node.installOs();
    ASSERT_EQ(node.create("os/1").code, 0);
    const std::string added = Node::tree(node.area());
    const std::string config = qx_test::read_file(node.configPath());
    ASSERT_EQ(destroy().code, 0);
    ASSERT_EQ(node.cache({}).code, 0);
    ASSERT_EQ(node.create("os/1").code, 0);
    EXPECT_EQ(Node::tree(node.area()), added);
    EXPECT_THAT(qx_test::read_file(node.configPath()), HasSubstr("OSTEMPLATE=\"os/1\"\n"));
    ASSERT_EQ(node.rm({{"os", ""}}).code, 0);
    EXPECT_TRUE(fs::is_empty(node.area("root")));
}

TEST_F(TemEnv, KrTemplateWithoutCacheStartsEmpty) {
    makeKr("");
    const Outcome outcome = node.create(".deb");
    ASSERT_EQ(outcome.code, 0) << outcome.message;
    EXPECT_EQ(outcome.text, ".deb");
    EXPECT_TRUE(fs::is_empty(node.area("root")));
}

TEST_F(TemEnv, KrTemplateStartsFromACopyOfItsCache) {
    const std::string tree = std::string("vc/") + kUuid + "/root";
    fs::create_directories(node.templates(tree + "/etc"));
    std::ofstream(node.templates(tree + "/etc/f")) << "content";
    fs::create_symlink("f", node.templates(tree + "/etc/l"));
    makeKr(std::string("uuid = \"") + kUuid + "\"\npath = \"/qx/template/" + tree + "\"\n");
    const Outcome outcome = node.create(".deb");
    ASSERT_EQ(outcome.code, 0) << outcome.message;
    EXPECT_EQ(Node::tree(node.area("root")), Node::tree(node.templates(tree)));
}

TEST_F(TemEnv, KrCacheMustLieInItsOwnPlace) {
    for (const char* path : {"/etc", "/qx/template/vc/other", "/qx/template/vc/../../.."}) {
        makeKr(std::string("uuid = \"") + kUuid + "\"\npath = \"" + path + "\"\n");
        const Outcome outcome = node.create(".deb");
        EXPECT_EQ(outcome.code, QXA::kEnvMFailed) << path;
        EXPECT_THAT(outcome.message, HasSubstr("cache.toml")) << path;
        EXPECT_FALSE(fs::exists(node.area())) << path;
    }
}

TEST_F(TemEnv, UnknownOsTemplatesHaveTheirCode) {
    node.installOs();
    node.installApp();
    for (const char* name : {"nothing", "os/7", ".nothing", "../x", "./../x", "app"}) {
        EXPECT_EQ(node.create(name).code, QXA::kEnvMUnknown) << name;
        EXPECT_FALSE(fs::exists(node.configPath())) << name;
        EXPECT_FALSE(fs::exists(node.area())) << name;
    }
}

TEST_F(TemEnv, TakenNumberOrEidIsRefused) {
    ASSERT_EQ(node.create().code, 0);
    EXPECT_EQ(node.create().code, QXA::kEnvMExists);
    const Outcome outcome = create([](QXA::QXAEnvSpec& spec) {
        spec.veid = 102;
        spec.eid = Node::containerEid();
    });
    EXPECT_EQ(outcome.code, QXA::kEnvMExists);
    EXPECT_THAT(outcome.message, HasSubstr("container 101 has the EID"));
    EXPECT_EQ(list().text, "101 ");
}

TEST_F(TemEnv, AreaThatIsThereIsNotTouched) {
    fs::create_directories(node.area("root"));
    std::ofstream(node.area("root/mine")) << "x";
    const Outcome outcome = node.create();
    EXPECT_EQ(outcome.code, QXA::kEnvMExists);
    EXPECT_THAT(outcome.message, HasSubstr("already exists"));
    EXPECT_TRUE(fs::exists(node.area("root/mine")));
    EXPECT_FALSE(fs::exists(node.configPath()));
}

TEST_F(TemEnv, WhatAKilledCreationLeftIsCleared) {
    fs::create_directories(node.area("root"));
    fs::create_directories(node.area(".qxtemplates"));
    std::ofstream(node.area("root/rest")) << "x";
    std::ofstream(node.area(".qxtemplates/unfinished")) << "";
    ASSERT_EQ(node.create().code, 0);
    EXPECT_FALSE(fs::exists(node.area("root/rest")));
}

TEST_F(TemEnv, OwnAreaParentAndTypeAreRecorded) {
    const Outcome outcome = create([](QXA::QXAEnvSpec& spec) {
        spec.privateArea = "/qx/elsewhere/ve-$VEID";
        spec.type = "other";
    });
    ASSERT_EQ(outcome.code, 0) << outcome.message;
    EXPECT_EQ(outcome.text, "/qx/elsewhere/ve-101||other|1");
    EXPECT_TRUE(fs::is_directory(node.path() + "/qx/elsewhere/ve-101/root"));
}

TEST_F(TemEnv, BadNumbersAndAreasAreRefused) {
    for (const int veid : {0, -1}) {
        EXPECT_EQ(create([&](QXA::QXAEnvSpec& spec) { spec.veid = veid; }).code, QXA::kEnvMFailed);
    }
    for (const char* area : {"relative", "/", "/qx/..", "a\"b", ""}) {
        EXPECT_EQ(create([&](QXA::QXAEnvSpec& spec) { spec.privateArea = area; }).code,
                  QXA::kEnvMFailed)
            << area;
    }
    EXPECT_EQ(list().text, "");
}

TEST_F(TemEnv, DestroyTakesConfigurationAreaAndLock) {
    ASSERT_EQ(node.create().code, 0);
    const Outcome outcome = destroy();
    ASSERT_EQ(outcome.code, 0) << outcome.message;
    EXPECT_FALSE(fs::exists(node.area()));
    EXPECT_TRUE(fs::is_empty(fs::path(node.configPath()).parent_path()));
    EXPECT_EQ(destroy().code, QXA::kEnvMUnknown);
}

TEST_F(TemEnv, DestroyRemovesOnlyWhatLooksLikeAnArea) {
    fs::create_directories(node.path() + "/qx/data");
    std::ofstream(node.path() + "/qx/data/file") << "x";
    node.makeContainer("VE_PRIVATE=\"/qx/data\"\n");
    const Outcome outcome = destroy();
    EXPECT_NE(outcome.code, 0);
    EXPECT_THAT(outcome.message, HasSubstr("does not look like a private area"));
    EXPECT_TRUE(fs::exists(node.path() + "/qx/data/file"));
    EXPECT_TRUE(fs::exists(node.configPath()));
}

TEST_F(TemEnv, DestroyDoesNotFollowLinks) {
    ASSERT_EQ(node.create().code, 0);
    fs::create_directories(node.file("outside"));
    std::ofstream(node.file("outside/file")) << "x";
    fs::create_directory_symlink(node.file("outside"), node.area("root/link"));
    ASSERT_EQ(destroy().code, 0);
    EXPECT_TRUE(fs::exists(node.file("outside/file")));
}

TEST_F(TemEnv, BrokenConfigurationCostsThatContainerOnly) {
    ASSERT_EQ(node.create().code, 0);
    std::ofstream(fs::path(node.configPath()).parent_path() / "102.conf") << "nonsense\n";
    EXPECT_EQ(list().text, "101 ");
}

}  // namespace
