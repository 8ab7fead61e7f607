// A thin layer over SQLite: owning handles, and exceptions that name the database.
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace QXL {

class DatabaseError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A database file in write-ahead mode, every transaction durable when it ends.
class Database {
public:
    enum class Mode { create, readOnly };

    /// @throws DatabaseError.
    Database(const std::string& path, Mode mode);

    void run(const char* sql);
    [[nodiscard]] std::int64_t lastRowId() const;

    [[nodiscard]] DatabaseError failure(const std::string& what) const;

private:
    friend class Statement;

    void requireKnownVersion();
    void useWriteAheadLog();

    std::string m_path;
    std::unique_ptr<sqlite3, int (*)(sqlite3*)> m_handle;
};

class Statement {
public:
    Statement(Database& database, const char* sql);

    /// Parameters count from 1. Texts are stored as they are, whatever their bytes.
    Statement& bind(int index, std::int64_t value);
    Statement& bind(int index, std::string_view value);

    /// Runs to the next row. @return false at the end.
    bool step();

    /// Runs a statement without rows and makes it ready to run again.
    void run();

    /// Columns count from 0; valid until the next step().
    [[nodiscard]] std::int64_t integer(int column) const;
    [[nodiscard]] std::string text(int column) const;
    [[nodiscard]] bool isNull(int column) const;

private:
    Database& m_database;
    std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> m_handle;
};

/// Begins a writing transaction, which is taken back unless it is committed.
class Transaction {
public:
    explicit Transaction(Database& database);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void commit();

private:
    Database& m_database;
    bool m_open = true;
};

}  // namespace QXL
