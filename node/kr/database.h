// Lists a root's own package database with the engine that it belongs to.
#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>
#include <vector>

#include "base/fd.h"
#include "node/kr/package.h"
#include "node/kr/packaging.h"

namespace qxnode {

/// What to list.
struct DatabaseQuery {
    std::string root;  ///< directory whose owner is not trusted
    /// nullptr: the one whose database is there.
    const Packaging* packaging = nullptr;
    std::string name = {};      ///< only packages called so; "" for all
    bool descriptions = false;  ///< otherwise summaries only
    bool absent = false;        ///< also what is removed and left something behind
};

/// Packages of the database, in the engine's order; none if nothing was ever installed in the root.
/// @throws Failure QXTT_E_NO_ROOT, QXTT_E_BAD_DATABASE, QXTT_E_ENGINE
std::vector<Package> listDatabase(const DatabaseQuery& query);

/// A database's folder, found inside the root, and its place there with all links resolved.
class DatabaseFolder {
public:
    /// Without descriptor when there is no such folder.
    DatabaseFolder(const base::Fd& root, const std::string& name);
    DatabaseFolder(base::Fd&& fd, std::string place)
        : m_fd(std::move(fd)), m_place(std::move(place)) {}

    [[nodiscard]] bool isThere() const { return static_cast<bool>(m_fd); }
    /// Absolute, as seen from inside the root.
    [[nodiscard]] const std::string& place() const { return m_place; }
    /// @throws Failure QXTT_E_BAD_DATABASE if it cannot be looked at.
    [[nodiscard]] bool holds(const char* name) const;
    [[nodiscard]] DatabaseFolder subfolder(const std::string& name) const;

    /// An engine waits for whoever writes into a fifo, and follows links; neither belongs here.
    /// @throws Failure QXTT_E_BAD_DATABASE
    void requireRegular(const char* name) const;
    void requireRegularFiles() const;

private:
    [[nodiscard]] bool stateOf(const char* name, struct stat& st) const;

    base::Fd m_fd;
    std::string m_place;
};

}  // namespace qxnode
