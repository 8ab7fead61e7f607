// See database.h.
#include "node/agent/database.h"

#include <sqlite3.h>

#include <cstdint>

#include "node/support/failure.h"

namespace QXL {

namespace {

constexpr int kBusyTimeoutMs = 30000;
constexpr int kBusyPauseMs = 5;

/// Of the tables in our databases. A change of them counts it up and brings older ones up.
constexpr std::int64_t kVersion = 0;

SQLite::Database opened(const std::string& path, DatabaseMode mode) {
    const int flags = mode == DatabaseMode::readOnly ? SQLite::OPEN_READONLY
                                                     : SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE;
    try {
        return {path, flags | SQLite::OPEN_NOFOLLOW, kBusyTimeoutMs};
    } catch (const SQLite::Exception& failure) {
        throw qxnode::Failure("cannot open '" + path + "': " + failure.what());
    }
}

void useWriteAheadLog(SQLite::Database& database) {
    // SQLite does not wait by itself here: of several that open a new database at once, all but one
    // would be told that it is locked.
    int result = SQLITE_BUSY;
    for (int waited = 0; result == SQLITE_BUSY && waited < kBusyTimeoutMs; waited += kBusyPauseMs) {
        if (waited > 0) {
            sqlite3_sleep(kBusyPauseMs);
        }
        result = database.tryExec("PRAGMA journal_mode=WAL");
    }
    if (result != SQLITE_OK) {
        throw SQLite::Exception(database.getHandle(), result);
    }
}

}  // namespace

SQLite::Database openDatabase(const std::string& path, DatabaseMode mode) {
    SQLite::Database database = opened(path, mode);
    const std::int64_t version = database.execAndGet("PRAGMA user_version").getInt64();
    if (version > kVersion) {
        throw qxnode::Failure("'" + path + "' (version " + std::to_string(version) +
                              ") is of a newer version of this program");
    }
    if (mode == DatabaseMode::create) {
        useWriteAheadLog(database);
        database.exec("PRAGMA synchronous=FULL");
        database.exec("PRAGMA foreign_keys=ON");
    }
    return database;
}

}  // namespace QXL
