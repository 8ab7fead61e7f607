// Finds a database below an untrusted root and lets its engine list it; see database.h.
#include "node/kr/database.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <memory>
#include <string_view>
#include <utility>

#include "base/open_below.h"
#include "base/subprocess.h"
#include "base/system_error.h"
#include "node/kr/list_output.h"
#include "node/kr/sandbox.h"
#include "node/support/failure.h"
#include "qxtt/qxtt.h"

namespace qxnode {

namespace {

Failure broken(const std::string& reason) {
    return {QXTT_E_BAD_DATABASE, reason};
}

/// The present path of a descriptor, from the kernel.
std::string pathOf(const base::Fd& fd) {
    std::array<char, PATH_MAX> path{};
    const std::string link = "/proc/self/fd/" + std::to_string(fd.get());
    const ssize_t length = readlink(link.c_str(), path.data(), path.size());
    if (length <= 0 || static_cast<std::size_t>(length) == path.size()) {
        throw Failure(QXTT_E_INTERNAL, base::systemError("resolve", link));
    }
    return {path.data(), static_cast<std::size_t>(length)};
}

bool holdsDatabase(const DatabaseFolder& folder, const Packaging& packaging) {
    return folder.isThere() &&
           std::any_of(packaging.databaseFiles.begin(), packaging.databaseFiles.end(),
                       [&](const char* name) { return folder.holds(name); });
}

void judge(const base::ProcessResult& result, const DatabaseQuery& query, int nothingFound) {
    if (result.succeeded()) {
        return;
    }
    const std::string reason = result.reason();
    if (couldNotStart(result)) {
        throw Failure(QXTT_E_ENGINE, reason);
    }
    if (!query.name.empty() && nothingFound != 0 && result.exitStatus() == nothingFound) {
        return;
    }
    throw broken("cannot list the packages of '" + query.root +
                 "': " + (tookTooLong(result) ? "the engine took too long" : reason));
}

std::vector<Package> run(const DatabaseQuery& query, const DatabaseFolder& folder,
                         const Packaging& packaging) {
    if (access(packaging.databaseEngine, X_OK) != 0) {
        throw Failure(QXTT_E_ENGINE, base::systemError("run", packaging.databaseEngine));
    }
    std::vector<Package> packages;
    ListOutput output([&](Package&& package) {
        const bool present = packaging.takeListed(package);
        // An engine may take the name as a pattern for name and version together.
        if ((query.name.empty() || package.name == query.name) && (query.absent || present)) {
            packages.push_back(std::move(package));
        }
    });
    base::ProcessOptions options;
    options.onLine = [&](const std::string& line) { output.add(line); };
    const auto command = packaging.listCommand(query, folder);
    judge(base::runProcess(sandboxed(query.root, command), options), query, packaging.nothingFound);
    output.finish();
    return packages;
}

}  // namespace

DatabaseFolder::DatabaseFolder(const base::Fd& root, const std::string& name)
    : m_fd(base::openInRoot(root.get(), name, O_RDONLY | O_DIRECTORY)) {
    if (!m_fd) {
        if (errno == ENOENT || errno == ENOTDIR) {
            return;
        }
        throw broken(base::systemError("open in the root", name));
    }
    const std::string top = pathOf(root);
    m_place = pathOf(m_fd);
    if (!m_place.starts_with(top + "/")) {
        throw broken("'" + name + "' has left its root");
    }
    m_place.erase(0, top.size());
}

bool DatabaseFolder::stateOf(const char* name, struct stat& st) const {
    if (!m_fd) {
        return false;
    }
    const bool there = fstatat(m_fd.get(), name, &st, AT_SYMLINK_NOFOLLOW) == 0;
    // A database that cannot be looked at must not pass for an empty one.
    if (!there && errno != ENOENT) {
        throw broken(base::systemError("examine", m_place + "/" + name));
    }
    return there;
}

bool DatabaseFolder::holds(const char* name) const {
    struct stat st {};
    return stateOf(name, st);
}

DatabaseFolder DatabaseFolder::subfolder(const std::string& name) const {
    return {base::openBelow(m_fd.get(), name, O_RDONLY | O_DIRECTORY), m_place + "/" + name};
}

void DatabaseFolder::requireRegular(const char* name) const {
    struct stat st {};
    if (stateOf(name, st) && !S_ISREG(st.st_mode) && !S_ISDIR(st.st_mode)) {
        throw broken("'" + m_place + "/" + name + "' is not a regular file");
    }
}

void DatabaseFolder::requireRegularFiles() const {
    // Open the directory again: a duplicated descriptor would share the position.
    const int again = openat(m_fd.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(fdopendir(again), closedir);
    if (!entries) {
        throw broken(base::systemError("read", m_place));
    }
    for (errno = 0; const dirent* entry = readdir(entries.get()); errno = 0) {
        requireRegular(entry->d_name);
    }
    if (errno != 0) {
        throw broken(base::systemError("read", m_place));
    }
}

std::vector<Package> listDatabase(const DatabaseQuery& query) {
    const base::Fd root(open(query.root.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!root) {
        throw Failure(QXTT_E_NO_ROOT, base::systemError("open", query.root));
    }
    for (const Packaging* packaging : packagings()) {
        if (query.packaging != nullptr && query.packaging != packaging) {
            continue;
        }
        const DatabaseFolder folder(root, packaging->databaseFolder);
        if (holdsDatabase(folder, *packaging)) {
            return run(query, folder, *packaging);
        }
    }
    return {};
}

}  // namespace qxnode
