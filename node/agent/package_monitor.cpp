// Rebuilding the package monitor's cache; see package_monitor.h.
#include "node/agent/package_monitor.h"

#include <stdexcept>
#include <string>

#include "QXA/QXATEMLocal.h"
#include "QXL/QXLError.h"
#include "QXL/QXLLog.h"
#include "layout/paths.h"
#include "layout/time_text.h"
#include "node/agent/database.h"
#include "node/agent/error_store.h"
#include "node/agent/kr_templates.h"

namespace QXL {

namespace {

constexpr const char* kSchema =
    "CREATE TABLE IF NOT EXISTS package("
    " technology TEXT NOT NULL, os TEXT NOT NULL, name TEXT NOT NULL, version TEXT NOT NULL,"
    " is_os INTEGER NOT NULL, architecture TEXT NOT NULL, summary TEXT NOT NULL,"
    " PRIMARY KEY(technology, os, name, version)) WITHOUT ROWID;"
    "CREATE TABLE IF NOT EXISTS synchronization("
    " id INTEGER PRIMARY KEY CHECK(id = 1), time TEXT NOT NULL);";

void report(const std::string& line) {
    Log.put(kLogError, "package monitor: left out: %s", line.c_str());
}

/// Writes the packages of both technologies into the table.
class Rebuild {
public:
    explicit Rebuild(SQLite::Database& database)
        : m_insert(database, "INSERT OR REPLACE INTO package VALUES(?, ?, ?, ?, ?, ?, ?)") {}

    void addStandard() {
        QXA::QXATEMLocal manager(nullptr);
        std::vector<QXA::QXAPackageInfo> infos;
        const int result = manager.ls(infos, QXLEID::EID_LOCAL, QXA::QXATEMLocal::kAllTemplates);
        if (result != 0) {
            throw std::runtime_error("cannot list the standard templates (" +
                                     std::to_string(result) + "): " + getErrorMessage());
        }
        for (const auto& info : infos) {
            for (const auto& version : info.versions) {
                addStandardVersion(manager, {info.name, version.version});
            }
        }
    }

    void addKr() {
        for (const auto& found : readKrTemplates(qxnode::kKrTemplateDir, report)) {
            add("kr", found.osName, found.name, found.version, found.isOsTemplate,
                found.architecture, found.summary);
        }
    }

private:
    void addStandardVersion(QXA::QXATEMLocal& manager, const QXA::QXATemplate& key) {
        QXA::QXATemplateConfigInfo config;
        const int result = manager.getTemplateConfig(key, config);
        if (result != 0) {
            report(key.toString() + " (" + std::to_string(result) + "): " + getErrorMessage());
            return;
        }
        const std::string os =
            config.baseOsTemplates.empty() ? "" : config.baseOsTemplates.front().toString();
        add("standard", os, key.name, key.version, config.isOsTemplate, config.architecture,
            config.summary);
    }

    void add(const char* technology, const std::string& os, const std::string& name,
             const std::string& version, bool isOs, const std::string& architecture,
             const std::string& summary) {
        SQLite::bind(m_insert, technology, os, name, version, std::int32_t{isOs}, architecture,
                     summary);
        m_insert.exec();
        m_insert.reset();
    }

    SQLite::Statement m_insert;
};

}  // namespace

void synchronizeLocalPackages() try {
    const ErrorMessageKeeper messageOfTheRequest;
    SQLite::Database database = openDatabase(qxnode::kPackageMonitor, DatabaseMode::create);
    SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
    database.exec(kSchema);
    database.exec("DELETE FROM package");
    Rebuild rebuild(database);
    rebuild.addStandard();
    rebuild.addKr();
    SQLite::Statement mark(database, "INSERT OR REPLACE INTO synchronization VALUES(1, ?)");
    mark.bind(1, qxnode::localTime());
    mark.exec();
    transaction.commit();
} catch (const SQLite::Exception& failure) {
    throw std::runtime_error(std::string("cannot work on '") + qxnode::kPackageMonitor +
                             "': " + failure.what());
}

}  // namespace QXL
