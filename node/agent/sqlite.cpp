// SQLite behind owning handles; see sqlite.h.
#include "node/agent/sqlite.h"

#include <sqlite3.h>

namespace QXL {

namespace {

constexpr int kBusyTimeoutMs = 30000;
constexpr int kBusyPauseMs = 5;

/// Of the tables in our databases. A change of them counts it up and brings older ones up.
constexpr std::int64_t kVersion = 0;

}  // namespace

Database::Database(const std::string& path, Mode mode)
    : m_path(path), m_handle(nullptr, sqlite3_close) {
    const int flags =
        mode == Mode::readOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    sqlite3* handle = nullptr;
    const int result =
        sqlite3_open_v2(path.c_str(), &handle, flags | SQLITE_OPEN_NOFOLLOW, nullptr);
    m_handle.reset(handle);
    if (result != SQLITE_OK) {
        throw failure("cannot open");
    }
    sqlite3_busy_timeout(handle, kBusyTimeoutMs);
    requireKnownVersion();
    if (mode == Mode::create) {
        useWriteAheadLog();
        run("PRAGMA synchronous=FULL");
        run("PRAGMA foreign_keys=ON");
    }
}

DatabaseError Database::failure(const std::string& what) const {
    const char* reason = m_handle ? sqlite3_errmsg(m_handle.get()) : "out of memory";
    return DatabaseError(what + " '" + m_path + "': " + reason);
}

void Database::run(const char* sql) {
    if (sqlite3_exec(m_handle.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
        throw failure("cannot work on");
    }
}

void Database::requireKnownVersion() {
    Statement version(*this, "PRAGMA user_version");
    version.step();
    if (version.integer(0) > kVersion) {
        throw DatabaseError("'" + m_path + "' (version " + version.text(0) +
                            ") is of a newer version of this program");
    }
}

void Database::useWriteAheadLog() {
    // SQLite does not wait by itself here: of several that open a new database at once, all but one
    // would be told that it is locked.
    int result = SQLITE_BUSY;
    for (int waited = 0; result == SQLITE_BUSY && waited < kBusyTimeoutMs; waited += kBusyPauseMs) {
        if (waited > 0) {
            sqlite3_sleep(kBusyPauseMs);
        }
        result = sqlite3_exec(m_handle.get(), "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr);
    }
    if (result != SQLITE_OK) {
        throw failure("cannot work on");
    }
}

std::int64_t Database::lastRowId() const {
    return sqlite3_last_insert_rowid(m_handle.get());
}

Statement::Statement(Database& database, const char* sql)
    : m_database(database), m_handle(nullptr, sqlite3_finalize) {
    sqlite3_stmt* handle = nullptr;
    if (sqlite3_prepare_v2(database.m_handle.get(), sql, -1, &handle, nullptr) != SQLITE_OK) {
        throw database.failure("cannot work on");
    }
    m_handle.reset(handle);
}

Statement& Statement::bind(int index, std::int64_t value) {
    if (sqlite3_bind_int64(m_handle.get(), index, value) != SQLITE_OK) {
        throw m_database.failure("cannot work on");
    }
    return *this;
}

Statement& Statement::bind(int index, std::string_view value) {
    if (sqlite3_bind_text64(m_handle.get(), index, value.data() == nullptr ? "" : value.data(),
                            value.size(), SQLITE_TRANSIENT, SQLITE_UTF8) != SQLITE_OK) {
        throw m_database.failure("cannot work on");
    }
    return *this;
}

bool Statement::step() {
    const int result = sqlite3_step(m_handle.get());
    if (result != SQLITE_ROW && result != SQLITE_DONE) {
        throw m_database.failure("cannot work on");
    }
    return result == SQLITE_ROW;
}

void Statement::run() {
    step();
    sqlite3_reset(m_handle.get());
}

std::int64_t Statement::integer(int column) const {
    return sqlite3_column_int64(m_handle.get(), column);
}

std::string Statement::text(int column) const {
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(m_handle.get(), column));
    const int size = sqlite3_column_bytes(m_handle.get(), column);
    return bytes == nullptr ? std::string() : std::string(bytes, static_cast<std::size_t>(size));
}

bool Statement::isNull(int column) const {
    return sqlite3_column_type(m_handle.get(), column) == SQLITE_NULL;
}

Transaction::Transaction(Database& database) : m_database(database) {
    m_database.run("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
    if (!m_open) {
        return;
    }
    try {
        m_database.run("ROLLBACK");
    } catch (const DatabaseError&) {
        // A failed statement may have taken the transaction back by itself.
        return;
    }
}

void Transaction::commit() {
    m_database.run("COMMIT");
    m_open = false;
}

}  // namespace QXL
