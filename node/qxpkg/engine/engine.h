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

/// Changes the packages of one place. All functions throw Failure; the engine's last lines are then
/// on standard error. The caller has checked the names (isKrPackageName).
class Engine {
public:
    Engine() = default;
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;
    virtual ~Engine() = default;

    /// The packages in the place's database.
    virtual PackageList installed() = 0;

    /// Finishes what an interrupted run left. What cannot be repaired is reported; the command goes
    /// on, because it may be the one that removes the broken package.
    /// @param now      the packages in the database.
    /// @param atStart  the packages at the beginning of the interrupted run; null if none was
    ///                 interrupted.
    virtual void repair(const PackageList& now, const PackageList* atStart) = 0;

    /// Downloads the repositories' lists again if they may have changed.
    virtual void refresh() = 0;

    /// The changes that the action would make, in the order of the engine.
    virtual PackageList plan(Action action, const std::vector<std::string>& names) = 0;

    /// @param names  empty: for update, everything.
    virtual void perform(Action action, const std::vector<std::string>& names) = 0;

    /// After a failed removal: clears the removal mark of packages that are still complete.
    virtual void withdrawRemoval() = 0;

    /// Removes packages that a failed or interrupted installation left incomplete.
    /// @param fresh  packages that did not exist before it, in any version.
    virtual void takeBack(const PackageList& fresh) = 0;

    /// Downloads packages and their dependencies into the store.
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
