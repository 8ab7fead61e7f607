// The journal of requests, in SQLite: one row a request, one row for each text of its lists.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>

#include "QXA/QXAJournal.h"
#include "QXL/QXLError.h"
#include "layout/paths.h"
#include "layout/time_text.h"
#include "node/agent/database.h"
#include "node/agent/process_id.h"
#include "node/support/failure.h"

namespace QXA {

namespace {

using SQLite::Statement;
using SQLite::Transaction;

constexpr const char* kSchema =
    "CREATE TABLE IF NOT EXISTS entry("
    " id INTEGER PRIMARY KEY AUTOINCREMENT, begun TEXT NOT NULL, ended TEXT,"
    " user TEXT NOT NULL, operation TEXT NOT NULL, target TEXT NOT NULL,"
    " result INTEGER NOT NULL DEFAULT 0, message TEXT NOT NULL DEFAULT '',"
    " pid INTEGER NOT NULL, birth TEXT NOT NULL);"
    "CREATE TABLE IF NOT EXISTS item("
    " entry INTEGER NOT NULL REFERENCES entry(id), list INTEGER NOT NULL,"
    " position INTEGER NOT NULL, text TEXT NOT NULL,"
    " PRIMARY KEY(entry, list, position)) WITHOUT ROWID;";

/// The lists of an entry; the index is the number of the list in the table.
constexpr std::array<std::vector<std::string> QXAJournalEntry::*, 3> kLists = {
    &QXAJournalEntry::packages, &QXAJournalEntry::before, &QXAJournalEntry::after};

SQLite::Database openForWriting() {
    SQLite::Database database = QXL::openDatabase(qxnode::kJournal, QXL::DatabaseMode::create);
    database.exec(kSchema);
    return database;
}

void writeLists(SQLite::Database& database, std::int64_t id, const QXAJournalEntry& entry) {
    Statement clear(database, "DELETE FROM item WHERE entry = ?");
    clear.bind(1, id);
    clear.exec();
    Statement insert(database, "INSERT INTO item(entry, list, position, text) VALUES(?, ?, ?, ?)");
    for (std::size_t list = 0; list < kLists.size(); ++list) {
        std::int64_t position = 0;
        for (const auto& text : entry.*kLists[list]) {
            SQLite::bind(insert, id, static_cast<std::int64_t>(list), position++, text);
            insert.exec();
            insert.reset();
        }
    }
}

void readLists(SQLite::Database& database, QXAJournalEntry& entry) {
    Statement select(database,
                     "SELECT list, text FROM item WHERE entry = ? ORDER BY list, position");
    select.bind(1, entry.id);
    while (select.executeStep()) {
        const auto list = static_cast<std::size_t>(select.getColumn(0).getInt64());
        if (list < kLists.size()) {
            (entry.*kLists[list]).push_back(select.getColumn(1).getString());
        }
    }
}

QXAJournalEntry readEntry(Statement& row) {
    QXAJournalEntry entry;
    entry.id = row.getColumn(0).getInt64();
    entry.user = row.getColumn(3).getString();
    entry.operation = row.getColumn(4).getString();
    entry.target = row.getColumn(5).getString();
    entry.message = row.getColumn(7).getString();
    if (!row.isColumnNull(2)) {
        entry.time = row.getColumn(2).getString();
        entry.result = static_cast<int>(row.getColumn(6).getInt64());
        return entry;
    }
    entry.time = row.getColumn(1).getString();
    const std::string birth = QXL::processBirth(static_cast<pid_t>(row.getColumn(8).getInt64()));
    const bool alive = !birth.empty() && birth == row.getColumn(9).getString();
    entry.result = alive ? QXAJournal::kRunning : QXAJournal::kInterrupted;
    return entry;
}

/// Turns what went wrong into the request's message.
template <typename Result, typename Work>
Result guarded(Result onFailure, const Work& work) {
    try {
        return work();
    } catch (const SQLite::Exception& failure) {
        QXL::setErrorMessage("journal: cannot work on '%s': %s", qxnode::kJournal, failure.what());
        return onFailure;
    } catch (const std::exception& failure) {
        QXL::setErrorMessage("journal: %s", failure.what());
        return onFailure;
    }
}

}  // namespace

std::int64_t QXAJournal::begin(const QXAJournalEntry& entry) {
    return guarded(std::int64_t{-1}, [&] {
        SQLite::Database database = openForWriting();
        Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
        Statement insert(database,
                         "INSERT INTO entry(begun, user, operation, target, pid, birth)"
                         " VALUES(?, ?, ?, ?, ?, ?)");
        SQLite::bind(insert, qxnode::localTime(), entry.user, entry.operation, entry.target,
                     getpid(), QXL::processBirth(getpid()));
        insert.exec();
        const std::int64_t id = database.getLastInsertRowid();
        writeLists(database, id, entry);
        transaction.commit();
        return id;
    });
}

int QXAJournal::end(std::int64_t id, const QXAJournalEntry& entry) {
    return guarded(-1, [&] {
        SQLite::Database database = openForWriting();
        Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
        Statement open(database, "SELECT 1 FROM entry WHERE id = ? AND ended IS NULL");
        open.bind(1, id);
        if (!open.executeStep()) {
            throw qxnode::Failure("no open entry " + std::to_string(id));
        }
        Statement update(database,
                         "UPDATE entry SET ended = ?, user = ?, operation = ?, target = ?,"
                         " result = ?, message = ? WHERE id = ?");
        SQLite::bind(update, qxnode::localTime(), entry.user, entry.operation, entry.target,
                     entry.result, entry.message, id);
        update.exec();
        writeLists(database, id, entry);
        transaction.commit();
        return 0;
    });
}

int QXAJournal::read(std::vector<QXAJournalEntry>& out, std::size_t limit) {
    return guarded(-1, [&] {
        if (access(qxnode::kJournal, F_OK) != 0 && errno == ENOENT) {
            return 0;
        }
        SQLite::Database database =
            QXL::openDatabase(qxnode::kJournal, QXL::DatabaseMode::readOnly);
        Statement select(database,
                         "SELECT id, begun, ended, user, operation, target, result, message, pid,"
                         " birth FROM entry ORDER BY id DESC LIMIT ?");
        constexpr auto all = std::numeric_limits<std::int64_t>::max();
        select.bind(1, limit == 0 ? all : static_cast<std::int64_t>(limit));
        std::vector<QXAJournalEntry> entries;
        while (select.executeStep()) {
            entries.push_back(readEntry(select));
            readLists(database, entries.back());
        }
        std::move(entries.rbegin(), entries.rend(), std::back_inserter(out));
        return 0;
    });
}

}  // namespace QXA
