// Databases of rpm, and repositories of rpms as they lie on the node's own disk.
#include "node/kr/rpm/packaging.h"

#include <utility>

#include "node/kr/compressed_file.h"
#include "node/kr/database.h"
#include "node/kr/list_output.h"
#include "node/kr/manifest.h"
#include "node/kr/rpm/index.h"
#include "node/kr/sandbox.h"
#include "node/kr/version_order.h"

namespace qxnode {

namespace {

constexpr std::uint64_t kMaxRepomd = 4ULL << 20;

/// Keys that are imported into an rpm database stand there as packages without architecture.
constexpr std::string_view kKeyPackage = "gpg-pubkey";

std::string architecture(const std::string& machine) {
    return machine;
}

bool takeListed(Package& package) {
    return package.name != kKeyPackage;
}

/// SQLite reads a database with a write-ahead log only beside the log and its index, which it makes
/// when they are missing, as in a root that came out of an archive.
bool needsCopy(const DatabaseFolder& folder) {
    return folder.holds("rpmdb.sqlite") &&
           !(folder.holds("rpmdb.sqlite-wal") && folder.holds("rpmdb.sqlite-shm"));
}

std::vector<std::string> listCommand(const DatabaseQuery& query, const DatabaseFolder& folder) {
    folder.requireRegularFiles();
    const bool copy = needsCopy(folder);
    const std::string place = inSandbox(folder.place());
    const std::string field(1, kFieldMark);
    std::vector<std::string> command;
    if (copy) {
        command = {"/bin/sh", "-c",  R"(cp "$1"/rpmdb.sqlite* "$2"/ && shift 2 && exec "$@")",
                   "sh",      place, kSandboxScratch};
    }
    // Digests prove nothing here: whoever can write the database writes them as well.
    command.insert(command.end(),
                   {kRpmPackaging.databaseEngine, "--nodigest", "--nosignature", "--dbpath",
                    copy ? std::string(kSandboxScratch) : place, "-qa", "--qf",
                    std::string(1, kRecordMark) + field + "%{NAME}" + field + "%{ARCH}" + field +
                        "%|EPOCH?{%{EPOCH}:}:{}|%{VERSION}-%{RELEASE}" + field + "%{SUMMARY}" +
                        field + (query.descriptions ? "%{DESCRIPTION}" : "") + "\\n"});
    if (!query.name.empty()) {
        command.push_back(query.name);
    }
    return command;
}

void readRepository(const KrRepository& repository, const KrManifest& /*os*/,
                    const OnPackage& onPackage) {
    const std::string folder = repository.hostFolder();
    std::string repomd;
    readCompressedFile(folder + "/repodata/repomd.xml", kMaxRepomd,
                       [&](std::string_view block) { repomd += block; });
    RpmIndex index([&](Package&& package) {
        if (package.architecture != "src" && package.architecture != "nosrc") {
            onPackage(std::move(package));
        }
    });
    readCompressedFile(folder + "/" + primaryLocation(repomd), kMaxIndex,
                       [&](std::string_view block) { index.add(block); });
    index.finish();
}

}  // namespace

const Packaging kRpmPackaging{
    .name = "rpm",
    .anyArchitecture = "noarch",
    .databaseEngine = "/usr/bin/rpm",
    .databaseFolder = "/var/lib/rpm",
    .databaseFiles = {"rpmdb.sqlite", "Packages", "Packages.db"},
    .nothingFound = 0,
    .architecture = architecture,
    .compareVersions = compareRpmVersions,
    .listCommand = listCommand,
    .takeListed = takeListed,
    .readRepository = readRepository,
};

}  // namespace qxnode
