// What package engines have in common, and which there are.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "node/kr/packaging.h"
#include "node/qxpkg/engine/package.h"
#include "node/qxpkg/engine/place.h"
#include "node/qxpkg/options.h"
#include "node/qxpkg/output.h"

namespace qxpkg {

enum class Action { install, update, remove };

/// "cannot install 'a' and 'b'", for the reason of a failure.
std::string attemptText(Action action, const std::vector<std::string>& names);

/// Changes the packages of one place. All throw Failure; a failing engine's own last lines are then
/// on standard error. Names have been checked (isKrPackageName).
class Engine {
public:
    Engine() = default;
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;
    virtual ~Engine() = default;

    /// What the place's own database holds.
    virtual PackageList installed() = 0;

    /// Finishes what an interrupted run left. What cannot be repaired is reported and does not end
    /// the command, which may be the one that removes it.
    /// @param now      what the database holds.
    /// @param atStart  what it held when the last run began that did not end; null when every run
    ///                 ended by itself.
    virtual void repair(const PackageList& now, const PackageList* atStart) = 0;

    /// Brings the repositories' lists up to date where they may have changed.
    virtual void refresh() = 0;

    /// What the action would change, in the order of the engine.
    virtual PackageList plan(Action action, const std::vector<std::string>& names) = 0;

    /// @param names  empty: for update, everything.
    virtual void perform(Action action, const std::vector<std::string>& names) = 0;

    /// After a removal that failed: what is still whole is no longer marked for removal.
    virtual void withdrawRemoval() = 0;

    /// Removes those of the packages that a failed or interrupted installation left incomplete.
    /// @param fresh  packages that were not there before it, in any version.
    virtual void takeBack(const PackageList& fresh) = 0;

    /// Downloads packages and what they need into the store.
    virtual void download(const std::vector<std::string>& names) = 0;
};

/// What differs between packagings when packages are changed. One folder beside this file and one
/// line in engine.cpp make another; node/kr describes its packages.
struct EngineKind {
    const qxnode::Packaging* packaging;

    /// `place`, `options` and `output` are borrowed.
    std::unique_ptr<Engine> (*make)(const Place& place, const Options& options,
                                    const Output& output);

    /// Folders below Place::work() with what the engine looks up before it downloads.
    std::vector<const char*> downloadFolders;

    /// The package of a file that it downloaded; "" for what is no package.
    std::string (*packageOfFile)(const std::string& fileName);

    /// The place's repositories as the engine is told of them.
    std::string (*repositories)(const Place& place);

    /// Makes the root tree of a cache where an empty one is not enough to install packages into;
    /// nullptr: it is enough.
    void (*bootstrap)(const qxnode::KrManifest& os, const Place& place, const Output& output);
};

/// All of them.
std::vector<EngineKind>& engineKinds();

/// The one of the packaging. @throws Failure when nothing changes its packages.
const EngineKind& engineKindOf(const qxnode::Packaging* packaging);

/// The engine of the place's packaging.
std::unique_ptr<Engine> makeEngine(const Place& place, const Options& options,
                                   const Output& output);

}  // namespace qxpkg
