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
#include "node/agent/process_id.h"
#include "node/agent/sqlite.h"

namespace QXA {

namespace {

using QXL::Database;
using QXL::Statement;
using QXL::Transaction;

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

Database openForWriting() {
    Database database(qxnode::kJournal, Database::Mode::create);
    database.run(kSchema);
    return database;
}

void writeLists(Database& database, std::int64_t id, const QXAJournalEntry& entry) {
    Statement clear(database, "DELETE FROM item WHERE entry = ?");
    clear.bind(1, id).run();
    Statement insert(database, "INSERT INTO item(entry, list, position, text) VALUES(?, ?, ?, ?)");
    for (std::size_t list = 0; list < kLists.size(); ++list) {
        std::int64_t position = 0;
        for (const auto& text : entry.*kLists[list]) {
            insert.bind(1, id).bind(2, static_cast<std::int64_t>(list));
            insert.bind(3, position++).bind(4, text).run();
        }
    }
}

void readLists(Database& database, QXAJournalEntry& entry) {
    Statement select(database,
                     "SELECT list, text FROM item WHERE entry = ? ORDER BY list, position");
    select.bind(1, entry.id);
    while (select.step()) {
        const auto list = static_cast<std::size_t>(select.integer(0));
        if (list < kLists.size()) {
            (entry.*kLists[list]).push_back(select.text(1));
        }
    }
}

QXAJournalEntry readEntry(const Statement& row) {
    QXAJournalEntry entry;
    entry.id = row.integer(0);
    entry.user = row.text(3);
    entry.operation = row.text(4);
    entry.target = row.text(5);
    entry.message = row.text(7);
    if (!row.isNull(2)) {
        entry.time = row.text(2);
        entry.result = static_cast<int>(row.integer(6));
        return entry;
    }
    entry.time = row.text(1);
    const std::string birth = QXL::processBirth(static_cast<pid_t>(row.integer(8)));
    const bool alive = !birth.empty() && birth == row.text(9);
    entry.result = alive ? QXAJournal::kRunning : QXAJournal::kInterrupted;
    return entry;
}

/// Turns what went wrong into the request's message.
template <typename Result, typename Work>
Result guarded(Result onFailure, const Work& work) {
    try {
        return work();
    } catch (const std::exception& failure) {
        QXL::setErrorMessage("journal: %s", failure.what());
        return onFailure;
    }
}

}  // namespace

std::int64_t QXAJournal::begin(const QXAJournalEntry& entry) {
    return guarded(std::int64_t{-1}, [&] {
        Database database = openForWriting();
        Transaction transaction(database);
        Statement insert(database,
                         "INSERT INTO entry(begun, user, operation, target, pid, birth)"
                         " VALUES(?, ?, ?, ?, ?, ?)");
        insert.bind(1, qxnode::localTime()).bind(2, entry.user).bind(3, entry.operation);
        insert.bind(4, entry.target).bind(5, getpid()).bind(6, QXL::processBirth(getpid())).run();
        const std::int64_t id = database.lastRowId();
        writeLists(database, id, entry);
        transaction.commit();
        return id;
    });
}

int QXAJournal::end(std::int64_t id, const QXAJournalEntry& entry) {
    return guarded(-1, [&] {
        Database database = openForWriting();
        Transaction transaction(database);
        Statement open(database, "SELECT 1 FROM entry WHERE id = ? AND ended IS NULL");
        if (!open.bind(1, id).step()) {
            throw QXL::DatabaseError("no open entry " + std::to_string(id));
        }
        Statement update(database,
                         "UPDATE entry SET ended = ?, user = ?, operation = ?, target = ?,"
                         " result = ?, message = ? WHERE id = ?");
        update.bind(1, qxnode::localTime()).bind(2, entry.user).bind(3, entry.operation);
        update.bind(4, entry.target).bind(5, entry.result).bind(6, entry.message).bind(7, id);
        update.run();
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
        Database database(qxnode::kJournal, Database::Mode::readOnly);
        Statement select(database,
                         "SELECT id, begun, ended, user, operation, target, result, message, pid,"
                         " birth FROM entry ORDER BY id DESC LIMIT ?");
        constexpr auto all = std::numeric_limits<std::int64_t>::max();
        select.bind(1, limit == 0 ? all : static_cast<std::int64_t>(limit));
        std::vector<QXAJournalEntry> entries;
        while (select.step()) {
            entries.push_back(readEntry(select));
            readLists(database, entries.back());
        }
        std::move(entries.rbegin(), entries.rend(), std::back_inserter(out));
        return 0;
    });
}

}  // namespace QXA
