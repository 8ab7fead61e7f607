// The record of a cache: one rule for everybody who starts from the cache, lists it or removes it.
#include "node/kr/cache.h"

#include <gtest/gtest.h>

#include "node/support/toml_reader.h"
#include "tests/support/test_node.h"

namespace qxnode {
namespace {

constexpr const char* kUuid = "0a1b2c3d-0000-4000-8000-00000000000a";
const std::string kFolder = std::string("/qx/template/vc/") + kUuid;

class KrCacheRecord : public testing::Test {
protected:
    void SetUp() override { QX_SKIP_WITHOUT_TEST_NODE(); }

    void write(const std::string& text) const {
        m_node.write("/qx/template/kr/base/cache.toml", text);
    }

    void expectRoot(const std::string& path, const std::string& root) const {
        write("uuid = \"" + std::string(kUuid) + "\"\n" + path);
        m_node.run([&] { EXPECT_EQ(readKrCache(".base").value().root, root) << path; });
    }

    void expectRefused(const std::string& text, const std::string& reason) const {
        write(text);
        m_node.run([&] {
            try {
                readKrCache("base");
                ADD_FAILURE() << text;
            } catch (const Failure& error) {
                EXPECT_NE(std::string(error.what()).find(reason), std::string::npos)
                    << error.what();
            }
        });
    }

    qx_test::TestNode m_node;
};

TEST_F(KrCacheRecord, whatIsWrittenIsRead) {
    const KrCache made = newKrCache();
    write(formatKrCache(made));
    m_node.run([&] {
        const KrCache found = readKrCache("base").value();
        EXPECT_EQ(found.uuid, made.uuid);
        EXPECT_EQ(found.root, krCacheFolder(made.uuid) + "/root");
        EXPECT_EQ(found.created, made.created);
    });
}

TEST_F(KrCacheRecord, eachCacheHasANameOfItsOwn) {
    EXPECT_NE(newKrCache().uuid, newKrCache().uuid);
}

TEST_F(KrCacheRecord, theTreeLiesInTheFolderOfTheCache) {
    expectRoot("", kFolder + "/root");
    expectRoot("path = \"" + kFolder + "\"\n", kFolder);
    expectRoot("path = \"" + kFolder + "//tree/./os\"\n", kFolder + "/tree/os");
}

TEST_F(KrCacheRecord, noOtherPlaceIsTakenForTheTree) {
    const std::string uuid = "uuid = \"" + std::string(kUuid) + "\"\n";
    for (const std::string& path : {std::string("/etc"), std::string("/qx/template/vc/other"),
                                    kFolder + "/../../kr", kFolder + "-more"}) {
        expectRefused(uuid + "path = \"" + path + "\"\n", "does not lie in '" + kFolder + "'");
    }
}

TEST_F(KrCacheRecord, aUuidInEitherCaseIsAName) {
    const std::string uuid = "0A1B2C3D-0000-4000-8000-00000000000A";
    write("uuid = \"" + uuid + "\"\n");
    m_node.run([&] { EXPECT_EQ(readKrCache("base").value().root, krCacheFolder(uuid) + "/root"); });
}

TEST_F(KrCacheRecord, nothingButAUuidIsAName) {
    expectRefused("uuid = \"../kr\"\n", "is not a UUID");
    expectRefused("uuid = \"\"\n", "is not a UUID");
    expectRefused("uuid = \"local\"\n", "is not a UUID");
    expectRefused("created = \"now\"\n", "missing");
    expectRefused("this is no record", "cache.toml");
}

TEST_F(KrCacheRecord, aMissingRecordIsNoFault) {
    m_node.run([] { EXPECT_FALSE(readKrCache(".base")); });
}

}  // namespace
}  // namespace qxnode
