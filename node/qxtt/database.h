// A root's own package database, listed by the engine that it belongs to.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "node/qxtt/package.h"
#include "node/support/kr_manifest.h"

namespace qxtt {

/// What to list.
struct DatabaseQuery {
    std::string root;  ///< directory whose owner is not trusted
    /// Engine; without it the one whose database is there.
    std::optional<qxnode::KrPackaging> packaging;
    std::string name;           ///< only packages called so; "" for all
    bool descriptions = false;  ///< otherwise summaries only
};

/// Packages of the database, in the engine's order. A root in which nothing was ever installed has
/// none.
/// @throws Failure QXTT_E_NO_ROOT, QXTT_E_BAD_DATABASE, QXTT_E_ENGINE
std::vector<Package> listDatabase(const DatabaseQuery& query);

}  // namespace qxtt
