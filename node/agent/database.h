// Opening the agent's databases.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>
#include <SQLiteCpp/VariadicBind.h>

#include <string>

namespace QXL {

enum class DatabaseMode { create, readOnly };

/// A database file in write-ahead mode, every transaction durable when it ends.
/// @throws qxnode::Failure when it cannot be opened or is of a newer version of this program;
///         SQLite::Exception as everything that is done with it.
SQLite::Database openDatabase(const std::string& path, DatabaseMode mode);

}  // namespace QXL
