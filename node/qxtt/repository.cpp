// Layouts of deb and rpm repositories; see repository.h.
#include "node/qxtt/repository.h"

#include <sys/stat.h>

#include <array>

#include "node/qxtt/compressed_file.h"
#include "node/qxtt/deb_index.h"
#include "node/qxtt/rpm_index.h"
#include "node/support/failure.h"
#include "qxtt/qxtt.h"

namespace qxtt {

using qxnode::Failure;

namespace {

using qxnode::KrManifest;
using qxnode::KrPackaging;
using qxnode::KrRepository;

/// Unpacked lists of the largest distributions are a tenth of this.
constexpr std::uint64_t kMaxIndex = 2ULL << 30;
constexpr std::uint64_t kMaxRepomd = 4ULL << 20;

/// Ways in which an index is packed, the plain file first.
constexpr std::array<const char*, 6> kSuffixes{"", ".gz", ".xz", ".zst", ".bz2", ".lzma"};

/// Folder of a URL with one of the schemes "file" and "copy".
std::string folderOf(const KrRepository& repository) {
    std::string path = repository.url.substr(repository.url.find(':') + 1);
    if (path.starts_with("//")) {
        path.erase(0, 2);
    }
    if (!path.starts_with('/')) {
        throw Failure(QXTT_E_BAD_REPOSITORY, "'" + repository.url + "' names no folder");
    }
    return path;
}

/// The index of this name, packed or not.
std::string indexFile(const std::string& name) {
    for (const char* suffix : kSuffixes) {
        struct stat st {};
        if (stat((name + suffix).c_str(), &st) == 0) {
            return name + suffix;
        }
    }
    throw Failure(QXTT_E_BAD_REPOSITORY, "there is no '" + name + "', packed or not");
}

template <typename Index>
void readIndex(const std::string& path, const OnPackage& onPackage) {
    Index index(onPackage);
    readCompressedFile(path, kMaxIndex, [&](std::string_view block) { index.add(block); });
    index.finish();
}

void readDeb(const KrRepository& repository, const KrManifest& os, const OnPackage& onPackage) {
    const std::string folder = folderOf(repository);
    const OnPackage usable = [&](Package&& package) {
        if (package.architecture == os.architecture || package.architecture == "all") {
            onPackage(std::move(package));
        }
    };
    if (repository.suite.empty() || repository.suite.ends_with('/')) {
        readIndex<DebIndex>(indexFile(folder + "/" + repository.suite + "Packages"), usable);
        return;
    }
    for (const std::string& component : repository.components) {
        readIndex<DebIndex>(indexFile(folder + "/dists/" + repository.suite + "/" + component +
                                      "/binary-" + os.architecture + "/Packages"),
                            usable);
    }
}

void readRpm(const KrRepository& repository, const OnPackage& onPackage) {
    const std::string folder = folderOf(repository);
    std::string repomd;
    readCompressedFile(folder + "/repodata/repomd.xml", kMaxRepomd,
                       [&](std::string_view block) { repomd += block; });
    readIndex<RpmIndex>(folder + "/" + primaryLocation(repomd), [&](Package&& package) {
        if (package.architecture != "src" && package.architecture != "nosrc") {
            onPackage(std::move(package));
        }
    });
}

}  // namespace

void readRepositories(const KrManifest& os, const OnPackage& onPackage) {
    for (const KrRepository& repository : os.repositories) {
        if (repository.needsNetwork()) {
            continue;
        }
        const OnPackage take = [&](Package&& package) {
            package.origin = repository.url;
            onPackage(std::move(package));
        };
        if (os.packaging == KrPackaging::deb) {
            readDeb(repository, os, take);
        } else {
            readRpm(repository, take);
        }
    }
}

}  // namespace qxtt
