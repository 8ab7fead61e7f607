// A packaging of its own: what a third engine has to bring, and that nothing else must change.
#include "node/kr/packaging.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "base/subprocess.h"
#include "node/kr/database.h"
#include "node/kr/list_output.h"
#include "node/kr/manifest.h"
#include "node/kr/sandbox.h"
#include "node/qxpkg/container/change.h"
#include "node/support/failure.h"
#include "tests/support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using qxnode::Packaging;
using qxpkg::PackageList;

/// Packages are lines of the file "toys", as ListOutput reads them.
const Packaging kToys{
    .name = "toy",
    .anyArchitecture = "any",
    .databaseEngine = "/usr/bin/cat",
    .databaseFolder = "/var/lib/toys",
    .databaseFiles = {"toys"},
    .nothingFound = 0,
    .architecture = [](const std::string& machine) { return "toy-" + machine; },
    .compareVersions = [](std::string_view a, std::string_view b) { return a.compare(b); },
    .listCommand =
        [](const qxnode::DatabaseQuery&, const qxnode::DatabaseFolder& folder) {
            return std::vector<std::string>{kToys.databaseEngine,
                                            qxnode::inSandbox(folder.place()) + "/toys"};
        },
    .takeListed = [](qxnode::Package&) { return true; },
    .readRepository = [](const qxnode::KrRepository&, const qxnode::KrManifest&,
                         const qxnode::OnPackage&) {},
};

class ToyEngine : public qxpkg::Engine {
public:
    explicit ToyEngine(const qxpkg::Place& place) : m_place(place) {}

    PackageList installed() override {
        PackageList packages;
        for (const qxnode::Package& found : databaseOf(m_place)) {
            packages.push_back({found.name, found.architecture, found.version});
        }
        return packages;
    }
    void perform(qxpkg::Action, const std::vector<std::string>& names) override {
        std::ofstream toys(m_place.root + kToys.databaseFolder + "/toys", std::ios::app);
        for (const std::string& name : names) {
            toys << "\x1e\x1f" << name << "\x1f"
                 << "any\x1f"
                 << "1\x1f"
                 << "A toy\x1f\n";
        }
    }
    void repair(const PackageList&, const PackageList*) override {}
    void refresh() override {}
    PackageList plan(qxpkg::Action, const std::vector<std::string>&) override { return {}; }
    void withdrawRemoval() override {}
    void takeBack(const PackageList&) override {}
    void download(const std::vector<std::string>&) override {}

private:
    const qxpkg::Place& m_place;
};

class ThirdPackaging : public testing::Test {
protected:
    ThirdPackaging() {
        qxnode::packagings().push_back(&kToys);
        qxpkg::engineKinds().push_back({&kToys,
                                        [](const qxpkg::Place& place, const qxpkg::Options&,
                                           const qxpkg::Output&) -> std::unique_ptr<qxpkg::Engine> {
                                            return std::make_unique<ToyEngine>(place);
                                        },
                                        {},
                                        [](const std::string&) { return std::string(); },
                                        [](const qxpkg::Place&) { return std::string(); },
                                        nullptr});
        m_place.root = m_files.make_dir("root");
        m_place.store = m_files.make_dir("store");
        m_place.downloads = m_place.store;
        m_place.packaging = &kToys;
        m_files.write("root/var/lib/toys/toys", "");
    }
    ~ThirdPackaging() override {
        qxpkg::engineKinds().pop_back();
        qxnode::packagings().pop_back();
    }

    void SetUp() override {
        const auto probe = base::runProcess(qxnode::sandboxed(m_place.root, {"true"}));
        if (!probe.succeeded()) {
            GTEST_SKIP() << "needs bubblewrap and what it needs: " << probe.reason();
        }
    }

    qx_test::TempDir m_files;
    qxpkg::Place m_place;
};

TEST_F(ThirdPackaging, isNamedByManifests) {
    const auto manifest = qxnode::parseKrManifest(
        "technology = \"kr\"\nkind = \"os\"\nname = \"box\"\npackaging = \"toy\"\n", "t");
    EXPECT_EQ(manifest.packaging, &kToys);
}

TEST_F(ThirdPackaging, installsAndListsThroughItsOwnEngine) {
    changePackages(m_place, qxpkg::Action::install, {"ball", "kite"}, {}, qxpkg::Output(true));

    const auto listed = qxnode::listDatabase({.root = m_place.root, .packaging = &kToys});
    ASSERT_EQ(listed.size(), 2U);
    EXPECT_EQ(listed[0].name, "ball");
    EXPECT_EQ(listed[1].summary, "A toy");
}

TEST_F(ThirdPackaging, isFoundByTheDatabaseThatIsThere) {
    changePackages(m_place, qxpkg::Action::install, {"ball"}, {}, qxpkg::Output(true));
    EXPECT_EQ(qxnode::listDatabase({.root = m_place.root}).size(), 1U);
}

TEST(EngineOfAPackaging, isRefusedByNameWhereThereIsNone) {
    try {
        qxpkg::engineKindOf(&kToys);
        ADD_FAILURE();
    } catch (const qxnode::Failure& failure) {
        EXPECT_STREQ(failure.what(), "no engine changes packages of 'toy'");
    }
}

}  // namespace
