// See repository_state.h.
#include "node/qxpkg/engine/repository_state.h"

#include <sys/stat.h>
#include <unistd.h>

#include <ctime>

#include "base/content.h"
#include "base/durable.h"
#include "node/qxpkg/engine/engine.h"

namespace qxpkg {

namespace {

constexpr std::size_t kMaxStamp = 1U << 20;

std::string stampPath(const Place& place) {
    return place.store + "/lists-of";
}

std::string state(const std::string& path) {
    struct stat st {};
    if (stat(path.c_str(), &st) != 0) {
        return "";
    }
    return path + " " + std::to_string(st.st_size) + " " + std::to_string(st.st_mtim.tv_sec) + "." +
           std::to_string(st.st_mtim.tv_nsec) + " " + std::to_string(st.st_ino) + "\n";
}

}  // namespace

std::string repositoriesFingerprint(const Place& place) {
    std::string text = engineKindOf(place.packaging).repositories(place);
    for (const qxnode::KrRepository& repository : place.repositories) {
        text += state(repository.sources);
        // Signatures are checked when lists are downloaded, so lists checked with another key must
        // be downloaded again.
        if (!repository.key.empty()) {
            text += state(place.keys + "/" + repository.key);
        }
        const std::string folder = repository.hostFolder();
        if (folder.empty()) {
            continue;
        }
        const std::string suite = repository.suite.empty() ? "." : repository.suite;
        for (const std::string& base :
             {folder + "/" + suite + "/", folder + "/dists/" + suite + "/"}) {
            for (const char* name : {"InRelease", "Release", "Packages", "Packages.gz",
                                     "Packages.xz", "repodata/repomd.xml"}) {
                text += state(base + name);
            }
        }
    }
    return text;
}

bool listsAreFresh(const Place& place) {
    struct stat st {};
    std::string error;
    const auto before = base::readFile(stampPath(place), kMaxStamp, error);
    if (!before || *before != repositoriesFingerprint(place) ||
        stat(stampPath(place).c_str(), &st) != 0) {
        return false;
    }
    const std::time_t age = std::time(nullptr) - st.st_mtim.tv_sec;
    return !place.repositoriesNeedNetwork() || (age >= 0 && age < kListsFreshSeconds);
}

void rememberFreshLists(const Place& place) {
    std::string error;
    (void)base::replaceFile(stampPath(place), repositoriesFingerprint(place), error);
}

void forgetFreshLists(const Place& place) {
    unlink(stampPath(place).c_str());
}

}  // namespace qxpkg
