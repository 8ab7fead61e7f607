// Where the packages of a built tree say that they come from.
#include <gtest/gtest.h>

#include <filesystem>

#include "node/qxpkg/engine/deb/root_sources.h"
#include "tests/support/test_node.h"
#include "tests/unit/node/qxpkg/kr_packages.h"

namespace {

using qxnode::KrRepository;

class QxpkgRootSources : public testing::Test {
protected:
    QxpkgRootSources() {
        m_place.root = m_files.make_dir("root");
        m_place.keys = m_files.make_dir("keys");
        m_files.make_dir("root/etc/apt");
        m_files.write("keys/main.asc", "KEY");
    }

    void addRepository(const std::string& url, const std::string& key = "") {
        KrRepository repository;
        repository.url = url;
        repository.suite = "stable";
        repository.components = {"main"};
        repository.key = key;
        m_place.repositories.push_back(repository);
    }

    std::string content(const std::string& path) const {
        return qx_test::read_file(m_files.path("root/" + path));
    }

    bool isThere(const std::string& path) const {
        return std::filesystem::exists(m_files.path("root/" + path));
    }

    qx_test::TempDir m_files;
    qxpkg::Place m_place;
};

TEST_F(QxpkgRootSources, RepositoriesOfTheNetworkStayWithTheirKeys) {
    addRepository("https://deb.example.org/debian", "main.asc");
    addRepository("copy:/srv/repository");
    qxpkg::writeRootSources(m_place, {});
    EXPECT_EQ(content("etc/apt/sources.list"),
              "deb [signed-by=/etc/apt/keyrings/main.asc] https://deb.example.org/debian stable "
              "main\n");
    EXPECT_EQ(content("etc/apt/keyrings/main.asc"), "KEY");
}

TEST_F(QxpkgRootSources, SourceFilesOfTheHostStay) {
    qxpkg::writeRootSources(m_place, {{"sources.list", "deb copy:/srv ./\n"},
                                      {"sources.list.d/host0.sources", "Types: deb\n"}});
    EXPECT_EQ(content("etc/apt/sources.list"), "");
    EXPECT_EQ(content("etc/apt/sources.list.d/host0.sources"), "Types: deb\n");
}

TEST_F(QxpkgRootSources, NamesOfThisMachineGo) {
    m_files.write("root/etc/hostname", "node");
    m_files.write("root/etc/resolv.conf", "nameserver 192.0.2.1\n");
    qxpkg::writeRootSources(m_place, {});
    EXPECT_FALSE(isThere("etc/hostname"));
    EXPECT_FALSE(isThere("etc/resolv.conf"));
}

TEST_F(QxpkgRootSources, ATreeWithoutAptGetsNoSources) {
    std::filesystem::remove(m_files.path("root/etc/apt"));
    addRepository("https://deb.example.org/debian");
    qxpkg::writeRootSources(m_place, {});
    EXPECT_FALSE(isThere("etc/apt"));
}

TEST_F(QxpkgRootSources, LinksOfTheTreeLeadNowhereOutside) {
    const std::string outside = m_files.write("outside", "untouched");
    m_files.make_link("root/etc/apt/sources.list.d", m_files.path());
    qxpkg_test::outcomeOf([&] {
        qxpkg::writeRootSources(m_place, {{"sources.list.d/host0.list", "deb\n"}});
    });
    EXPECT_EQ(qx_test::read_file(outside), "untouched");
    EXPECT_FALSE(std::filesystem::exists(m_files.path("host0.list")));
}

}  // namespace
