// What engines are told, and the sandbox that they are run in.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "node/qxpkg/engine/confinement.h"
#include "node/qxpkg/engine/deb/configuration.h"
#include "node/qxpkg/engine/rpm/configuration.h"
#include "node/qxpkg/failure.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/node/qxpkg/engine/repositories.h"

namespace qxpkg {
namespace {

using qxpkg_test::folderRepository;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;

/// Words that follow each other in a command line.
bool holds(const std::vector<std::string>& words, const std::vector<std::string>& part) {
    return std::search(words.begin(), words.end(), part.begin(), part.end()) != words.end();
}

TEST(Confinement, bindsAreReadOnlyUnlessSaidOtherwise) {
    Confinement confinement;
    confinement.binds = {{"/a", "/x", false}, {"/b", "/y", true}};

    const auto words = confinedCommand(confinement, {"true"});

    EXPECT_TRUE(holds(words, {"--ro-bind", "/a", "/x"}));
    EXPECT_TRUE(holds(words, {"--bind", "/b", "/y"}));
}

TEST(Confinement, theHostsRootIsNoPartOfIt) {
    const auto words = confinedCommand({}, {"true"});

    EXPECT_FALSE(holds(words, {"/", "/"}));
    EXPECT_FALSE(holds(words, {"/etc", "/etc"}));
}

TEST(Confinement, theNetworkIsTheHostsOnlyWhenAskedFor) {
    Confinement open;
    open.network = true;

    EXPECT_THAT(confinedCommand({}, {"true"}), Contains("--unshare-net"));
    EXPECT_THAT(confinedCommand(open, {"true"}), Not(Contains("--unshare-net")));
}

TEST(Confinement, nothingMayBeMounted) {
    const auto words = confinedCommand({}, {"true"});

    EXPECT_TRUE(holds(words, {"--cap-drop", "ALL"}));
    EXPECT_THAT(words, Not(Contains("CAP_SYS_ADMIN")));
    EXPECT_THAT(words, Not(Contains("CAP_MKNOD")));
}

TEST(Confinement, aRootGetsProcessesAndDevicesOfItsOwn) {
    Confinement confinement;
    confinement.root = "/container";

    const auto words = confinedCommand(confinement, {"true"});

    EXPECT_TRUE(holds(words, {"--proc", "/container/proc", "--dev", "/container/dev"}));
}

TEST(Confinement, theEnvironmentIsWhatIsGivenAndTheCommandComesLast) {
    Confinement confinement;
    confinement.environment = {"A=b=c"};

    const auto words = confinedCommand(confinement, {"true", "x"});

    EXPECT_THAT(words, Contains("--clearenv"));
    EXPECT_TRUE(holds(words, {"--setenv", "A", "b=c"}));
    EXPECT_TRUE(holds(words, {"--setenv", "LC_ALL", "C"}));
    EXPECT_EQ(words[words.size() - 2], "true");
    EXPECT_EQ(words.back(), "x");
}

TEST(AptSources, aRepositoryIsALineWithItsOptions) {
    Place place;
    place.repositories = {folderRepository("/srv/repo")};
    qxnode::KrRepository mirror;
    mirror.url = "https://example.invalid/debian";
    mirror.suite = "stable";
    mirror.components = {"main", "contrib"};
    mirror.key = "archive.gpg";
    place.repositories.push_back(mirror);

    EXPECT_EQ(aptSources(place),
              "deb [trusted=yes] copy:/srv/repo ./\n"
              "deb [signed-by=/etc/qxpkg-keys/archive.gpg] https://example.invalid/debian stable "
              "main contrib\n");
}

TEST(AptConfiguration, nothingIsReadFromTheHost) {
    const std::string text = aptConfiguration({}, "/var/lib/dpkg");

    EXPECT_THAT(text, HasSubstr("Dir::Etc::main \"/dev/null\";"));
    EXPECT_THAT(text, HasSubstr("Dir::Etc::parts \"/etc/qxpkg/empty/\";"));
    EXPECT_THAT(text, HasSubstr("Dir::State::status \"/container/var/lib/dpkg/status\";"));
    EXPECT_THAT(text, HasSubstr("\"--root=/container\";"));
    EXPECT_THAT(text, Not(HasSubstr("RootDir")));
}

TEST(AptConfiguration, theTemplatesArchitectureIsTheOnlyOne) {
    Place place;
    place.architecture = "arm64";

    EXPECT_THAT(aptConfiguration(place, "/var/lib/dpkg"),
                HasSubstr("APT::Architectures { \"arm64\"; };"));
    EXPECT_THAT(aptConfiguration({}, "/var/lib/dpkg"), Not(HasSubstr("APT::Architecture")));
}

TEST(AptConfiguration, aDatabaseElsewhereIsNamedToDpkg) {
    EXPECT_THAT(dpkgRootOptions("/usr/lib/dpkg-db"),
                Contains("--admindir=/container/usr/lib/dpkg-db"));
    EXPECT_THAT(dpkgRootOptions("/var/lib/dpkg"),
                Not(Contains("--admindir=/container/var/lib/dpkg")));
}

TEST(AptConfiguration, sourceLinesOfTheHostAreCopiedUnderTheEndingOfTheirSyntax) {
    const qx_test::TempDir host;
    qxnode::KrRepository lines;
    lines.sources = host.write("a.sources", "Types: deb\n");
    qxnode::KrRepository old;
    old.sources = host.write("b.list", "deb x y\n");
    Place place;
    place.repositories = {lines, old};

    const auto files = debConfiguration(place, "/var/lib/dpkg");

    ASSERT_EQ(files.size(), 4U);
    EXPECT_EQ(files[2].name, "sources.list.d/host0.sources");
    EXPECT_EQ(files[2].content, "Types: deb\n");
    EXPECT_EQ(files[3].name, "sources.list.d/host1.list");
}

TEST(AptConfiguration, sourceLinesThatAreNotThereAreNamed) {
    qxnode::KrRepository lines;
    lines.sources = "/nonexistent/sources.list";
    Place place;
    place.repositories = {lines};

    EXPECT_THROW(debConfiguration(place, "/var/lib/dpkg"), Failure);
}

TEST(DnfConfiguration, aFolderIsAFileAddress) {
    Place place;
    place.repositories = {folderRepository("//srv/repo")};

    EXPECT_THAT(dnfRepositories(place), HasSubstr("baseurl=file:///srv/repo\n"));
    EXPECT_THAT(dnfRepositories(place), HasSubstr("gpgcheck=0\n"));
}

TEST(DnfConfiguration, aSignedRepositoryNamesItsKey) {
    qxnode::KrRepository mirror;
    mirror.url = "https://example.invalid/rpm";
    mirror.key = "k.asc";
    Place place;
    place.repositories = {mirror};

    EXPECT_THAT(dnfRepositories(place),
                HasSubstr("gpgcheck=1\ngpgkey=file:///etc/qxpkg-keys/k.asc\n"));
}

TEST(DnfConfiguration, theDatabaseIsNamedInTheHomeOfTheRun) {
    const auto files = rpmConfiguration({}, "/usr/lib/sysimage/rpm");

    EXPECT_EQ(files.back().name, "home/.rpmmacros");
    EXPECT_EQ(files.back().content, "%_dbpath /usr/lib/sysimage/rpm\n");
}

}  // namespace
}  // namespace qxpkg
