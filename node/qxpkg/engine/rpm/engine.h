// Packages of rpm, from repositories by dnf.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "node/qxpkg/engine/engine.h"
#include "node/qxpkg/engine/engine_run.h"
#include "node/qxpkg/engine/rpm/report.h"

namespace qxpkg {

EngineKind rpmEngineKind();

class RpmEngine : public Engine {
public:
    RpmEngine(const Place& place, const Options& options, const Output& output);

    PackageList installed() override;
    void repair(const PackageList& now, const PackageList* atStart) override;
    void refresh() override;
    PackageList plan(Action action, const std::vector<std::string>& names) override;
    void perform(Action action, const std::vector<std::string>& names) override;
    void withdrawRemoval() override {}
    void takeBack(const PackageList& fresh) override;
    void download(const std::vector<std::string>& names) override;

private:
    [[nodiscard]] EngineRun sandbox(bool network) const;
    [[nodiscard]] std::vector<std::string> rpm(const std::vector<std::string>& words) const;
    [[nodiscard]] std::vector<std::string> dnf(const std::vector<std::string>& options,
                                               Action action,
                                               const std::vector<std::string>& names) const;
    PackageList planOfRemoval(const std::vector<std::string>& names);
    PackageList planByTable(Action action, const std::vector<std::string>& names);
    void runDnf(const std::vector<std::string>& argv, bool network, const std::string& what);
    void run(const std::vector<std::string>& argv, bool network, const std::string& what);
    void removeDebris() const;
    void repositoriesAnswered();

    const Place& m_place;
    const Options& m_options;
    const Output& m_output;
    std::string m_databaseDir;
    bool m_refresh = false;                  ///< the next dnf asks its repositories
    std::set<std::string> m_scriptFailures;  ///< packages, of the last run
};

}  // namespace qxpkg
