// Finding a database below an untrusted root, and having its engine list it; see database.h.
#include "node/qxtt/database.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <memory>
#include <string_view>
#include <utility>

#include "base/fd.h"
#include "base/open_below.h"
#include "base/subprocess.h"
#include "base/system_error.h"
#include "node/qxtt/list_output.h"
#include "node/qxtt/sandbox.h"
#include "node/qxtt/text.h"
#include "node/support/failure.h"
#include "qxtt/qxtt.h"

namespace qxtt {

using qxnode::Failure;

namespace {

using base::Fd;
using qxnode::KrPackaging;

constexpr const char* kDebFolder = "var/lib/dpkg";
constexpr const char* kRpmFolder = "var/lib/rpm";

/// Files by which a database is known; the first one names the usual kind.
constexpr const char* kDebFile = "status";
constexpr std::array<const char*, 3> kRpmFiles{"rpmdb.sqlite", "Packages", "Packages.db"};

Failure broken(const std::string& reason) {
    return {QXTT_E_BAD_DATABASE, reason};
}

/// Where a descriptor leads, as the kernel has it now.
std::string pathOf(const base::Fd& fd) {
    std::array<char, PATH_MAX> path{};
    const std::string link = "/proc/self/fd/" + std::to_string(fd.get());
    const ssize_t length = readlink(link.c_str(), path.data(), path.size());
    if (length <= 0 || static_cast<std::size_t>(length) == path.size()) {
        throw Failure(QXTT_E_INTERNAL, base::systemError("resolve", link));
    }
    return {path.data(), static_cast<std::size_t>(length)};
}

/// A database's folder, found inside the root, and its place there with all links resolved.
struct Folder {
    base::Fd fd;
    std::string place;  ///< absolute, as seen from inside the root

    [[nodiscard]] bool holds(const char* name) const {
        struct stat st {};
        return fstatat(fd.get(), name, &st, AT_SYMLINK_NOFOLLOW) == 0;
    }

    /// An engine waits for whoever writes into a fifo, and follows links; neither belongs here.
    void requireRegular(const char* name) const {
        struct stat st {};
        if (fstatat(fd.get(), name, &st, AT_SYMLINK_NOFOLLOW) == 0 && !S_ISREG(st.st_mode) &&
            !S_ISDIR(st.st_mode)) {
            throw broken("'" + place + "/" + name + "' is no regular file");
        }
    }

    void requireRegularFiles() const {
        // A description of its own: a duplicate would share the position with others.
        const int again = openat(fd.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        const std::unique_ptr<DIR, int (*)(DIR*)> entries(fdopendir(again), closedir);
        if (!entries) {
            throw broken(base::systemError("read", place));
        }
        while (const dirent* entry = readdir(entries.get())) {
            requireRegular(entry->d_name);
        }
    }
};

/// The folder below the root; without descriptor when there is none.
Folder findFolder(const base::Fd& root, const std::string& name) {
    Folder folder;
    folder.fd = base::openInRoot(root.get(), name, O_RDONLY | O_DIRECTORY);
    if (!folder.fd) {
        if (errno == ENOENT || errno == ENOTDIR) {
            return folder;
        }
        throw broken(base::systemError("open in the root", name));
    }
    const std::string top = pathOf(root);
    folder.place = pathOf(folder.fd);
    if (!folder.place.starts_with(top + "/")) {
        throw broken("'" + name + "' has left its root");
    }
    folder.place.erase(0, top.size());
    return folder;
}

bool holdsDatabase(const Folder& folder, KrPackaging packaging) {
    if (!folder.fd) {
        return false;
    }
    if (packaging == KrPackaging::deb) {
        return folder.holds(kDebFile);
    }
    for (const char* name : kRpmFiles) {
        if (folder.holds(name)) {
            return true;
        }
    }
    return false;
}

std::string debFormat(bool descriptions) {
    const std::string field(1, kFieldMark);
    return std::string(1, kRecordMark) + "${db:Status-Abbrev}" + field + "${Package}" + field +
           "${Architecture}" + field + "${Version}" + field + "${binary:Summary}" + field +
           (descriptions ? "${Description}" : "") + "\\n";
}

std::string rpmFormat(bool descriptions) {
    const std::string field(1, kFieldMark);
    return std::string(1, kRecordMark) + field + "%{NAME}" + field + "%{ARCH}" + field +
           "%|EPOCH?{%{EPOCH}:}:{}|%{VERSION}-%{RELEASE}" + field + "%{SUMMARY}" + field +
           (descriptions ? "%{DESCRIPTION}" : "") + "\\n";
}

std::vector<std::string> debCommand(const DatabaseQuery& query, const Folder& folder) {
    std::vector<std::string> command{kDebEngine, "--admindir=" + inSandbox(folder.place), "-W",
                                     "-f", debFormat(query.descriptions)};
    if (!query.name.empty()) {
        command.push_back(query.name);
    }
    return command;
}

/// SQLite reads a database with a write-ahead log only beside the log and its index, which it makes
/// when they are missing, as in a root that came out of an archive.
bool needsCopy(const Folder& folder) {
    return folder.holds("rpmdb.sqlite") &&
           !(folder.holds("rpmdb.sqlite-wal") && folder.holds("rpmdb.sqlite-shm"));
}

std::vector<std::string> rpmCommand(const DatabaseQuery& query, const Folder& folder) {
    const bool copy = needsCopy(folder);
    const std::string place = inSandbox(folder.place);
    std::vector<std::string> command;
    if (copy) {
        command = {"/bin/sh", "-c",  R"(cp "$1"/rpmdb.sqlite* "$2"/ && shift 2 && exec "$@")",
                   "sh",      place, kSandboxScratch};
    }
    // Digests prove nothing here: whoever can write the database writes them as well.
    command.insert(command.end(), {kRpmEngine, "--nodigest", "--nosignature", "--dbpath",
                                   copy ? std::string(kSandboxScratch) : place, "-qa", "--qf",
                                   rpmFormat(query.descriptions)});
    if (!query.name.empty()) {
        command.push_back(query.name);
    }
    return command;
}

void judge(const base::ProcessResult& result, const DatabaseQuery& query, KrPackaging packaging) {
    if (result.succeeded()) {
        return;
    }
    // dpkg-query gives 1 when nothing is called so, and 2 for everything worse.
    constexpr int nothingFound = 1;
    const bool byName = packaging == KrPackaging::deb && !query.name.empty();
    const std::string reason = result.reason();
    if (couldNotStart(result)) {
        throw Failure(QXTT_E_ENGINE, reason);
    }
    if (byName && result.exitStatus() == nothingFound) {
        return;
    }
    throw broken("cannot list the packages of '" + query.root +
                 "': " + (tookTooLong(result) ? "the engine took too long" : reason));
}

/// Refuses what would keep the engine waiting until its time is over.
void requireHarmless(const Folder& folder, KrPackaging packaging) {
    if (packaging == KrPackaging::rpm) {
        folder.requireRegularFiles();
        return;
    }
    folder.requireRegular(kDebFile);
    const Folder updates{base::openBelow(folder.fd.get(), "updates", O_RDONLY | O_DIRECTORY),
                         folder.place + "/updates"};
    if (updates.fd) {
        updates.requireRegularFiles();
    }
}

std::vector<Package> run(const DatabaseQuery& query, const Folder& folder, KrPackaging packaging) {
    const bool isDeb = packaging == KrPackaging::deb;
    const char* engine = isDeb ? kDebEngine : kRpmEngine;
    if (access(engine, X_OK) != 0) {
        throw Failure(QXTT_E_ENGINE, base::systemError("run", engine));
    }
    requireHarmless(folder, packaging);
    std::vector<Package> packages;
    ListOutput output([&](Package&& package) {
        // rpm takes the name as a pattern for name and version together.
        if (query.name.empty() || package.name == query.name) {
            if (isDeb) {
                package.description = debDescription(std::move(package.description));
            }
            packages.push_back(std::move(package));
        }
    });
    base::ProcessOptions options;
    options.onLine = [&](const std::string& line) { output.add(line); };
    const auto command = isDeb ? debCommand(query, folder) : rpmCommand(query, folder);
    judge(base::runProcess(sandboxed(query.root, command), options), query, packaging);
    output.finish();
    return packages;
}

}  // namespace

std::vector<Package> listDatabase(const DatabaseQuery& query) {
    const base::Fd root(open(query.root.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!root) {
        throw Failure(QXTT_E_NO_ROOT, base::systemError("open", query.root));
    }
    constexpr std::array<std::pair<KrPackaging, const char*>, 2> databases{
        {{KrPackaging::deb, kDebFolder}, {KrPackaging::rpm, kRpmFolder}}};
    for (const auto& [packaging, name] : databases) {
        if (query.packaging && *query.packaging != packaging) {
            continue;
        }
        const Folder folder = findFolder(root, name);
        if (holdsDatabase(folder, packaging)) {
            return run(query, folder, packaging);
        }
    }
    return {};
}

}  // namespace qxtt
