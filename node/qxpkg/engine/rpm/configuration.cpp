// See configuration.h.
#include "node/qxpkg/engine/rpm/configuration.h"

namespace qxpkg {

namespace {

/// dnf requires a release, even if no repository's address contains it.
constexpr const char* kAnyRelease = "0";

/// Debian's rpm has its database in the user's home by default; only a macro can change that.
constexpr const char* kHome = "home";

}  // namespace

std::string dnfRepositories(const Place& place) {
    std::string text;
    int count = 0;
    for (const qxnode::KrRepository& repository : place.repositories) {
        if (!repository.sources.empty()) {
            continue;
        }
        const std::string id = "qx" + std::to_string(count++);
        const std::string folder = repository.hostFolder();
        text += "[" + id + "]\nname=" + id + "\n";
        text += "baseurl=" + (folder.empty() ? repository.url : "file://" + folder) + "\n";
        text += "enabled=1\ngpgcheck=" + std::string(repository.trusted ? "0" : "1") + "\n";
        if (!repository.key.empty()) {
            text += "gpgkey=file://" + std::string(inside::kKeys) + "/" + repository.key + "\n";
        }
        // This program decides when lists are out of date; dnf only compares whole seconds.
        text += "metadata_expire=never\n\n";
    }
    return text;
}

std::vector<ConfigurationFile> rpmConfiguration(const Place& place,
                                                const std::string& databaseDir) {
    const std::string main =
        "[main]\n"
        "reposdir=/etc/qxpkg/repos\n"
        "varsdir=/etc/qxpkg/empty\n"
        "gpgcheck=1\n"
        "install_weak_deps=0\n"
        "clean_requirements_on_remove=0\n"
        "assumeyes=1\n"
        "plugins=0\n"
        "keepcache=1\n";
    return {
        {"dnf.conf", main},
        {"repos/qxpkg.repo", dnfRepositories(place)},
        {std::string(kHome) + "/.rpmmacros", "%_dbpath " + databaseDir + "\n"},
    };
}

std::vector<std::string> dnfCommand(const Place& place) {
    const std::string work = inside::kWork;
    // As options, because dnf looks below the root for folders named in the configuration file.
    std::vector<std::string> words = {
        "dnf",
        "--config=" + std::string(inside::kConfiguration) + "/dnf.conf",
        "--installroot=" + std::string(inside::kRoot),
        "--releasever=" + (place.release.empty() ? std::string(kAnyRelease) : place.release),
        "--setopt=cachedir=" + work + "/dnf",
        "--setopt=logdir=" + work + "/log",
    };
    if (!place.architecture.empty() && place.architecture != "noarch") {
        words.push_back("--forcearch=" + place.architecture);
    }
    return words;
}

}  // namespace qxpkg
