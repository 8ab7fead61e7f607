// Installing and removing KR templates of the node; see operations.h.
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include "base/tree.h"
#include "layout/container_config.h"
#include "layout/paths.h"
#include "node/kr/manifest.h"
#include "node/qxpkg/engine/package.h"
#include "node/qxpkg/failure.h"
#include "node/qxpkg/node/install_plan.h"
#include "node/qxpkg/node/operations.h"
#include "node/qxpkg/node/template_writer.h"
#include "node/template/package_list.h"

namespace qxpkg {

namespace {

using QXA::tem::JournalStep;
using QXA::tem::StagedChange;

/// The KR templates in a container's configuration; names have their dots.
struct TemplateUse {
    int veid = 0;
    std::string os;  ///< "" if it has no KR OS template
    std::vector<std::string> applications;
    std::string error;  ///< why the configuration cannot be read; the other fields are then empty
};

using qxnode::ContainerConfig;

/// As many as a reader of a message takes in.
constexpr std::size_t kShown = 10;

TemplateUse useOf(int veid) {
    TemplateUse use;
    use.veid = veid;
    const auto config = ContainerConfig::read(qxnode::containerConfigPath(veid), use.error);
    if (!config) {
        return use;
    }
    const std::string os = config->get(qxnode::parameter::kOsTemplate).value_or("");
    if (os.starts_with('.')) {
        use.os = os;
        for (const std::string& name : config->templates()) {
            use.applications.push_back(qxnode::dottedKrName(name));
        }
    }
    return use;
}

void refuseIfUsed(const std::vector<TemplateUse>& uses, const std::string& what,
                  const std::function<bool(const TemplateUse&)>& isUser) {
    std::string users;
    std::size_t count = 0;
    for (const TemplateUse& use : uses) {
        if (!use.error.empty()) {
            throw Failure(kRefused, "cannot tell whether container " + std::to_string(use.veid) +
                                        " uses " + what + ": " + use.error);
        }
        if (isUser(use) && ++count <= kShown) {
            users += (users.empty() ? "" : ", ") + std::to_string(use.veid);
        }
    }
    if (count > kShown) {
        users += " and " + std::to_string(count - kShown) + " more";
    }
    if (count > 0) {
        throw Failure(kRefused, what + " is used by container(s) " + users);
    }
}

std::vector<TemplateUse> templateUses() {
    std::vector<TemplateUse> uses;
    std::error_code failure;
    for (const int veid : qxnode::containerNumbers(qxnode::kContainerConfigDir, failure)) {
        uses.push_back(useOf(veid));
    }
    // Without the folder nobody knows what is in use.
    if (failure) {
        throw Failure("cannot tell which templates are in use: cannot read '" +
                      std::string(qxnode::kContainerConfigDir) + "': " + failure.message());
    }
    return uses;
}

void refuseUsedOs(const std::vector<TemplateUse>& uses, const std::string& os) {
    refuseIfUsed(uses, "OS template '" + os + "'",
                 [&](const TemplateUse& use) { return use.os == os; });
}

void refuseUsedApplication(const std::vector<TemplateUse>& uses, const std::string& os,
                           const std::string& application) {
    refuseIfUsed(uses, "application template '" + application + "' of '" + os + "'",
                 [&](const TemplateUse& use) {
                     return use.os == os &&
                            std::find(use.applications.begin(), use.applications.end(),
                                      application) != use.applications.end();
                 });
}

/// Writes the files of a change into staging. A new or replaced folder is placed as a whole, so
/// that readers never see half of it. In an existing folder files are placed one by one, keys
/// before the manifests that name them.
std::vector<JournalStep> stage(int area, StagedChange& staging, const InstallPlan& plan) {
    std::vector<JournalStep> steps;
    const auto place = [&](const std::string& source, const std::string& target) {
        steps.push_back({JournalStep::Kind::place, 0, source, target});
    };
    for (const auto& [os, change] : plan.changes()) {
        const std::string folder = staging.newPath();
        makeStagedFolder(area, folder);
        for (const auto& [path, content] : change.files) {
            writeStaged(area, folder + "/" + path, content);
        }
        if (change.whole) {
            place(folder, osTarget(os));
            continue;
        }
        // In reverse order, because "keys" must come before "app".
        for (auto file = change.files.rbegin(); file != change.files.rend(); ++file) {
            place(folder + "/" + file->first, osTarget(os) + "/" + file->first);
        }
    }
    return steps;
}

void report(const InstallPlan& plan, const Output& output) {
    for (const InstallPlan::Record& record : plan.records()) {
        if (!record.placed) {
            output.step((record.application.empty() ? record.os : record.application) +
                        " already exists in this or a newer version");
        }
        record.application.empty() ? output.osTemplate(record.os)
                                   : output.applicationTemplate(record.os, record.application);
    }
}

void placePackages(const std::vector<std::string>& files, Placing placing, const Options& options,
                   const Output& output) {
    const std::vector<TemplatePackage> packages = QXA::tem::readPackageList(
        files, kNotKrTemplate, [](const std::string& file) { return readTemplatePackage(file); });
    const Placing how = options.force ? Placing::unconditional : placing;
    if (options.dryRun) {
        report(InstallPlan(packages, how), output);
        return;
    }
    const TemplateWriter writer(options.wait, output);
    const InstallPlan plan(packages, how);
    if (!plan.changes().empty()) {
        StagedChange staging(writer.area());
        staging.commit(stage(writer.area(), staging, plan));
    }
    report(plan, output);
}

/// A template to remove.
struct Removal {
    std::string os;                         ///< dotted
    std::vector<std::string> applications;  ///< dotted
    bool whole = false;                     ///< the OS template with all that it has
};

Removal osRemoval(const std::string& name, const std::vector<TemplateUse>& uses,
                  const Options& options) {
    Removal removal{qxnode::dottedKrName(name), {}, true};
    for (const auto& [application, file] : knownOsTemplate(name).applications) {
        removal.applications.push_back(qxnode::dottedKrName(application));
    }
    if (!options.force) {
        refuseUsedOs(uses, removal.os);
    }
    if (!removal.applications.empty() && !options.force && !options.withDependents) {
        throw Failure(kRefused, "OS template '" + removal.os + "' has application template(s) " +
                                    enumeration(removal.applications));
    }
    return removal;
}

Removal applicationRemoval(const std::string& osName, const std::vector<std::string>& names,
                           const std::vector<TemplateUse>& uses, const Options& options) {
    Removal removal{qxnode::dottedKrName(osName), {}, false};
    const NodeOsTemplate os = knownOsTemplate(osName);
    for (const std::string& name : names) {
        const std::string dotted = qxnode::dottedKrName(name);
        if (!os.applications.contains(qxnode::plainKrName(name))) {
            throw Failure("application template '" + dotted + "' of '" + removal.os +
                          "' is not known");
        }
        if (!options.force) {
            refuseUsedApplication(uses, removal.os, dotted);
        }
        if (std::find(removal.applications.begin(), removal.applications.end(), dotted) ==
            removal.applications.end()) {
            removal.applications.push_back(dotted);
        }
    }
    return removal;
}

/// Keys that only the removed application templates name.
std::vector<std::string> keysToDrop(const Removal& removal, NodeOsTemplate os) {
    std::vector<qxnode::KrManifest> going;
    for (const std::string& name : removal.applications) {
        const auto application = os.applications.find(qxnode::plainKrName(name));
        going.push_back(application->second.manifest);
        os.applications.erase(application);
    }
    std::vector<std::string> keys;
    for (const auto& [key, content] : os.keys) {
        const auto names = [&key = key](const qxnode::KrManifest& manifest) {
            return namesKey(manifest, key);
        };
        const bool isNeeded =
            names(os.main->manifest) ||
            std::any_of(os.applications.begin(), os.applications.end(),
                        [&](const auto& entry) { return names(entry.second.manifest); });
        if (!isNeeded && std::any_of(going.begin(), going.end(), names)) {
            keys.push_back(key);
        }
    }
    return keys;
}

void addSteps(const Removal& removal, int area, StagedChange& staging, const Output& output,
              std::vector<JournalStep>& steps) {
    const auto drop = [&](const std::string& target) {
        steps.push_back({JournalStep::Kind::drop, 0, staging.newPath(), target});
    };
    const std::string folder = osTarget(removal.os);
    if (!removal.whole) {
        for (const std::string& name : removal.applications) {
            drop(folder + "/" + qxnode::kKrApplicationDir + "/" + qxnode::plainKrName(name) +
                 qxnode::kKrApplicationSuffix);
        }
        for (const std::string& key : keysToDrop(removal, knownOsTemplate(removal.os))) {
            drop(folder + "/" + kKeysDir + "/" + key);
        }
        return;
    }
    // The template first: a reader that finds the template must also find its cache.
    drop(folder);
    const auto cache =
        usableCache(removal.os, output, "the cache of '" + removal.os + "' is left where it is: ");
    if (cache && base::statBelow(area, cacheTarget(cache->uuid))) {
        drop(cacheTarget(cache->uuid));
    }
}

void report(const std::vector<Removal>& removals, const Output& output) {
    for (const Removal& removal : removals) {
        for (const std::string& name : removal.applications) {
            output.applicationTemplate(removal.os, name);
        }
        if (removal.whole) {
            output.osTemplate(removal.os);
        }
    }
}

/// @param plan  returns the removals; it is called while the lock is held, except in a dry run.
template <typename Plan>
void removeTemplates(const Options& options, const Output& output, const Plan& plan) {
    if (options.dryRun) {
        report(plan(), output);
        return;
    }
    const TemplateWriter writer(options.wait, output);
    const std::vector<Removal> removals = plan();
    StagedChange staging(writer.area());
    std::vector<JournalStep> steps;
    for (const Removal& removal : removals) {
        addSteps(removal, writer.area(), staging, output, steps);
    }
    staging.commit(std::move(steps));
    report(removals, output);
}

}  // namespace

void installNodeTemplates(const std::vector<std::string>& files, const Options& options,
                          const Output& output) {
    placePackages(files, Placing::install, options, output);
}

void updateNodeTemplates(const std::vector<std::string>& files, const Options& options,
                         const Output& output) {
    placePackages(files, Placing::update, options, output);
}

void removeOsTemplates(const std::vector<std::string>& names, const Options& options,
                       const Output& output) {
    removeTemplates(options, output, [&] {
        const std::vector<TemplateUse> uses = templateUses();
        std::vector<Removal> removals;
        std::set<std::string> seen;
        for (const std::string& name : names) {
            if (seen.insert(qxnode::dottedKrName(name)).second) {
                removals.push_back(osRemoval(name, uses, options));
            }
        }
        return removals;
    });
}

void removeApplicationTemplates(const std::string& os, const std::vector<std::string>& names,
                                const Options& options, const Output& output) {
    removeTemplates(options, output, [&] {
        return std::vector{applicationRemoval(os, names, templateUses(), options)};
    });
}

}  // namespace qxpkg
