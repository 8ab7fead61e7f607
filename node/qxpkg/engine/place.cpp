// Prepares the files that an engine reads and writes; see place.h.
#include "node/qxpkg/engine/place.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <filesystem>

#include "base/content.h"
#include "base/durable.h"
#include "base/fd.h"
#include "base/open_below.h"
#include "base/system_error.h"
#include "node/kr/database.h"
#include "node/qxpkg/failure.h"

namespace qxpkg {

namespace {

constexpr std::size_t kMaxAccounts = 1U << 20;
constexpr const char* kHostTrustedKeys = "/etc/apt/trusted.gpg.d";

base::Fd openFolder(const std::string& path) {
    base::Fd fd(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!fd) {
        throw Failure(base::systemError("open", path));
    }
    return fd;
}

/// Makes a folder in a directory that engines can write to; refuses a link in its place.
void makeFolder(int directory, const std::string& path) {
    std::string sofar;
    std::size_t begin = 0;
    while (begin < path.size()) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        sofar = path.substr(0, end);
        begin = end + 1;
        if (base::openBelow(directory, sofar, O_RDONLY | O_DIRECTORY)) {
            continue;
        }
        const std::size_t slash = sofar.rfind('/');
        const std::string parent = slash == std::string::npos ? "." : sofar.substr(0, slash);
        const std::string name = slash == std::string::npos ? sofar : sofar.substr(slash + 1);
        const base::Fd folder = base::openBelow(directory, parent, O_RDONLY | O_DIRECTORY);
        if (!folder || (mkdirat(folder.get(), name.c_str(), 0755) != 0 && errno != EEXIST)) {
            throw Failure(base::systemError("make", sofar));
        }
    }
}

void makeHostFolder(const std::string& path) {
    std::string error;
    if (!base::makeDirectories(path, error)) {
        throw Failure(error);
    }
}

/// Writes a file unless it already has this content, so that most requests need not write.
void writeFile(const std::string& path, const std::string& content) {
    std::string error;
    const auto before = base::readFile(path, content.size() + 1, error);
    if (before && *before == content) {
        return;
    }
    if (!base::replaceFile(path, content, error)) {
        throw Failure(error);
    }
}

/// Removes files that are not listed: sources and keys that a template no longer has must not be
/// used.
void removeOthers(const std::string& folder, const std::vector<ConfigurationFile>& files) {
    namespace fs = std::filesystem;
    std::vector<fs::path> others;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
        const std::string name = fs::relative(entry.path(), folder).string();
        if (!entry.is_directory() &&
            std::none_of(files.begin(), files.end(),
                         [&](const ConfigurationFile& file) { return file.name == name; })) {
            others.push_back(entry.path());
        }
    }
    for (const fs::path& other : others) {
        fs::remove(other);
    }
}

/// The container's accounts, because owners in packages are names of the container's users.
std::string accountsOf(const Place& place, const std::string& file, const std::string& fallback) {
    const base::Fd root = openFolder(place.root);
    const auto content = base::readFileInRoot(root.get(), file, kMaxAccounts);
    return content && !content->empty() ? *content : fallback;
}

/// Checks the mount points of the sandbox inside the root, so that a link there is an error and
/// does not lead elsewhere.
void requireMountPoint(int root, const char* name) {
    if (mkdirat(root, name, 0755) != 0 && errno != EEXIST) {
        throw Failure(base::systemError("make the container's", "/" + std::string(name)));
    }
    if (!base::openBelow(root, name, O_RDONLY | O_DIRECTORY)) {
        throw Failure("'/" + std::string(name) + "' of the container is not a folder");
    }
}

/// True if a path has only harmless characters. The container decides where its links lead, and
/// other characters could end a quotation in apt's configuration or be an rpm macro.
bool isPlain(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
           std::string_view("/._+-@:,=~").find(c) != std::string_view::npos;
}

bool isFolder(const std::string& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

bool Place::repositoriesNeedNetwork() const {
    return std::any_of(
        repositories.begin(), repositories.end(),
        [](const qxnode::KrRepository& repository) { return repository.needsNetwork(); });
}

Place placeOf(const qxnode::KrManifest& os) {
    Place place;
    place.downloads = std::string(kStoreDir) + "/fetch/" + qxnode::plainKrName(os.name);
    place.keys = qxnode::krOsFolder(os.name) + "/keys";
    place.packaging = os.packaging;
    place.architecture = os.architecture;
    place.release = os.release;
    place.repositories = os.repositories;
    place.scriptNetwork = os.network;
    return place;
}

std::vector<qxnode::Package> databaseOf(const Place& place, bool absent) {
    try {
        return qxnode::listDatabase(
            {.root = place.root, .packaging = place.packaging, .absent = absent});
    } catch (const Failure& failure) {
        throw Failure("cannot read the container's package database: " +
                      std::string(failure.what()));
    }
}

void addRepositories(Place& place, const qxnode::KrManifest& application) {
    for (const qxnode::KrRepository& repository : application.repositories) {
        if (std::find(place.repositories.begin(), place.repositories.end(), repository) ==
            place.repositories.end()) {
            place.repositories.push_back(repository);
        }
    }
    place.scriptNetwork = place.scriptNetwork || application.network;
}

void prepareStore(const Place& place, const std::vector<ConfigurationFile>& files,
                  const std::vector<std::string>& workFolders) {
    makeHostFolder(place.configuration());
    makeHostFolder(place.work());
    std::vector<ConfigurationFile> all = files;
    all.push_back({"passwd", accountsOf(place, "/etc/passwd", "root:x:0:0::/root:/bin/sh\n")});
    all.push_back({"group", accountsOf(place, "/etc/group", "root:x:0:\n")});
    removeOthers(place.configuration(), all);
    makeHostFolder(place.configuration() + "/empty");
    for (const ConfigurationFile& file : all) {
        const std::string path = place.configuration() + "/" + file.name;
        makeHostFolder(std::filesystem::path(path).parent_path().string());
        writeFile(path, file.content);
    }
    const base::Fd work = openFolder(place.work());
    for (const std::string& folder : workFolders) {
        makeFolder(work.get(), folder);
    }
}

Confinement confinementOf(const Place& place, bool network) {
    const base::Fd root = openFolder(place.root);
    requireMountPoint(root.get(), "proc");
    requireMountPoint(root.get(), "dev");

    Confinement confinement;
    confinement.network = network;
    confinement.root = inside::kRoot;
    confinement.binds = {
        {place.root, inside::kRoot, true},
        {place.configuration(), inside::kConfiguration, false},
        {place.configuration() + "/passwd", "/etc/passwd", false},
        {place.configuration() + "/group", "/etc/group", false},
        {place.work(), inside::kWork, true},
    };
    if (isFolder(place.keys)) {
        confinement.binds.push_back({place.keys, inside::kKeys, false});
    }
    for (const qxnode::KrRepository& repository : place.repositories) {
        const std::string folder = repository.hostFolder();
        if (!folder.empty() && isFolder(folder)) {
            confinement.binds.push_back({folder, folder, false});
        }
        if (!repository.sources.empty() && isFolder(kHostTrustedKeys)) {
            confinement.binds.push_back({kHostTrustedKeys, inside::kTrustedKeys, false});
        }
    }
    return confinement;
}

std::string folderInRoot(const Place& place, const std::string& path) {
    const base::Fd root = openFolder(place.root);
    std::size_t end = 0;
    while (end < path.size()) {
        end = std::min(path.find('/', end + 1), path.size());
        const std::string part = path.substr(0, end);
        if (base::openInRoot(root.get(), part, O_RDONLY | O_DIRECTORY)) {
            continue;
        }
        const base::Fd parent = base::openInRoot(root.get(), part.substr(0, part.rfind('/') + 1),
                                                 O_RDONLY | O_DIRECTORY);
        if (!parent || mkdirat(parent.get(), part.substr(part.rfind('/') + 1).c_str(), 0755) != 0) {
            throw Failure(base::systemError("make the container's", part));
        }
    }
    const base::Fd folder = base::openInRoot(root.get(), path, O_RDONLY | O_DIRECTORY);
    const auto pathOf = [](const base::Fd& fd) {
        return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd.get())).string();
    };
    const std::string top = pathOf(root);
    const std::string found = folder ? pathOf(folder) : "";
    if (!found.starts_with(top + "/")) {
        throw Failure("'" + path + "' does not lie in the container");
    }
    const std::string inRoot = found.substr(top.size());
    if (!std::all_of(inRoot.begin(), inRoot.end(), isPlain)) {
        throw Failure("'" + path +
                      "' of the container leads to a folder whose name "
                      "engines would misread");
    }
    return inRoot;
}

}  // namespace qxpkg
