// Packages of dpkg, from files and from repositories by apt.
#pragma once

#include <string>
#include <vector>

#include "node/qxpkg/engine/engine.h"
#include "node/qxpkg/engine/engine_run.h"

namespace qxpkg {

EngineKind debEngineKind();

/// See EngineKind::bootstrap.
void bootstrapDeb(const qxnode::KrManifest& os, const Place& place, const Output& output);

class DebEngine : public Engine {
public:
    DebEngine(const Place& place, const Options& options, const Output& output);

    PackageList installed() override;
    void repair(const PackageList& now, const PackageList* atStart) override;
    void refresh() override;
    PackageList plan(Action action, const std::vector<std::string>& names) override;
    void perform(Action action, const std::vector<std::string>& names) override;
    void withdrawRemoval() override;
    void takeBack(const PackageList& fresh) override;
    void download(const std::vector<std::string>& names) override;

private:
    [[nodiscard]] std::vector<std::string> dpkg(const std::vector<std::string>& words) const;
    [[nodiscard]] std::vector<std::string> apt(Action action,
                                               const std::vector<std::string>& options,
                                               const std::vector<std::string>& names) const;
    [[nodiscard]] EngineRun sandbox(bool network) const;
    [[nodiscard]] bool isRemovable(const std::vector<std::string>& names) const;
    PackageList planOf(Action action, const std::vector<std::string>& names);
    /// Runs a repair; one that fails is reported and ends nothing.
    void tryTo(const std::vector<std::string>& argv, bool network = false) const;
    void runApt(const std::vector<std::string>& argv, bool network, const std::string& what) const;

    const Place& m_place;
    const Options& m_options;
    const Output& m_output;
    std::string m_adminDir;
    std::vector<std::string> m_halfPurged;  ///< as the last look at the database found them
};

/// Takes the state that dpkg-query abbreviates; false for that of a package that is not there.
bool readDpkgState(const std::string& state, Package& package);

/// The state of a package that is gone but for its configuration, and whose purge did not end.
bool isHalfPurged(const std::string& state);

/// "Inst" and "Remv" lines of a simulated apt run.
bool parseAptPlanLine(const std::string& line, Package& package);

}  // namespace qxpkg
