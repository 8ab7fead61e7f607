// Templates of one container: the rules for adding and removing, and the order of the steps.
#include "node/agent/tem/container_templates.h"

#include <algorithm>
#include <optional>
#include <set>

#include "QXA/QXATEMLocal.h"
#include "base/fd.h"
#include "layout/paths.h"
#include "node/agent/tem/area_index.h"
#include "node/agent/tem/area_plan.h"
#include "node/agent/tem/writer_lock.h"
#include "node/support/failure.h"
#include "node/template/version_order.h"

namespace QXA::tem {

using qxnode::Failure;

namespace {

using ManifestSP = std::shared_ptr<const Manifest>;

// A container whose lock is held and whose interrupted changes are recovered.
class LockedContainer {
public:
    LockedContainer(const QXL::QXLEID& eid, const Reporter& reporter)
        : m_lock(lockForWriting(qxnode::containerLockPath(Container::find(eid).veid()), reporter)),
          container(Container::find(eid)),
          area(container.privateArea()),
          indexes(area, std::to_string(container.veid()), reporter) {
        if (indexes.unfinished()) {
            indexes.makePlain({}, readRecords(area.state()));
        }
        recoverArea(area, container.configured());
        indexes.makeIndexed();
        records = readRecords(area.state());
    }

    // Runs a change while the directories that it changes have no indexes.
    template <class Change>
    void whilePlain(const std::set<std::string>& directories, Change change) {
        indexes.makePlain(directories, records);
        try {
            change();
        } catch (...) {
            indexes.makeIndexed();
            throw;
        }
        indexes.makeIndexed();
    }

private:
    qxnode::FileLock m_lock;

public:
    Container container;
    Area area;
    AreaIndexes indexes;
    std::vector<AreaRecord> records;
};

// The versions that a container has or will have, by name; empty: the configuration names none.
struct Selection {
    std::optional<QXATemplate> os;
    std::vector<QXATemplate> applications;

    [[nodiscard]] const QXATemplate* find(const std::string& name) const {
        if (os && os->name == name) {
            return &*os;
        }
        const auto found = std::find_if(applications.begin(), applications.end(),
                                        [&](const QXATemplate& key) { return key.name == name; });
        return found == applications.end() ? nullptr : &*found;
    }

    void put(const Manifest& manifest) {
        const QXATemplate key = manifest.key();
        if (manifest.config.isOsTemplate) {
            os = key;
            return;
        }
        const auto found =
            std::find_if(applications.begin(), applications.end(),
                         [&](const QXATemplate& known) { return known.name == key.name; });
        if (found == applications.end()) {
            applications.push_back(key);
        } else {
            *found = key;
        }
    }
};

// The configuration may name a template without a version; then its record has the version.
QXATemplate withVersion(QXATemplate key, const std::vector<AreaRecord>& records) {
    if (key.version.empty()) {
        for (const AreaRecord& record : records) {
            if (record.key.name == key.name) {
                key.version = record.key.version;
            }
        }
    }
    return key;
}

Selection selectionOf(const LockedContainer& locked) {
    Selection selection;
    if (const std::optional<QXATemplate> os = locked.container.osTemplate()) {
        selection.os = withVersion(*os, locked.records);
    }
    for (const QXATemplate& key : locked.container.applications()) {
        selection.applications.push_back(withVersion(key, locked.records));
    }
    return selection;
}

ConfiguredTemplates asConfigured(const Selection& selection, const ConfiguredTemplates& before) {
    ConfiguredTemplates after;
    after.osTemplate = selection.os ? selection.os->toString() : "";
    for (const QXATemplate& key : selection.applications) {
        after.templates.push_back(key.toString());
    }
    for (const std::string& name : before.templates) {
        if (name.starts_with('.')) {
            after.templates.push_back(name);
        }
    }
    return after;
}

[[noreturn]] void conflict(const std::string& message) {
    throw Failure(kTemConflict, message);
}

// The templates to add, with their manifests. Templates that are up to date and were named without
// a version are left out.
std::vector<ManifestSP> wantedTemplates(const TemplateArea& templates, const Selection& before,
                                        const std::vector<QXATemplate>& keys, bool force) {
    std::vector<ManifestSP> wanted;
    for (const QXATemplate& asked : keys) {
        const QXATemplate key = templates.resolve(asked);
        const QXATemplate* there = before.find(key.name);
        if (there != nullptr && asked.version.empty() &&
            !versionLess(there->version, key.version)) {
            continue;  // up to date, or ahead of the node
        }
        if (there != nullptr && !force) {
            if (*there == key) {
                conflict("template '" + key.toString() + "' is in the container already");
            }
            if (versionLess(key.version, there->version)) {
                conflict("template '" + there->toString() + "' of the container is newer than '" +
                         key.toString() + "'");
            }
        }
        const auto twin = std::find_if(wanted.begin(), wanted.end(), [&](const ManifestSP& other) {
            return other->config.name == key.name;
        });
        if (twin == wanted.end()) {
            wanted.push_back(templates.manifest(key));
        } else if (!((*twin)->key() == key)) {
            conflict("template '" + key.name + "' is asked for in two versions");
        }
    }
    return wanted;
}

// All templates of the container that the node has.
std::vector<QXATemplate> everything(const TemplateArea& templates, const Selection& before) {
    std::vector<QXATemplate> keys;
    const auto append = [&](const QXATemplate& key) {
        if (!templates.versions(key.name).empty()) {
            keys.push_back({key.name, ""});
        }
    };
    if (before.os) {
        append(*before.os);
    }
    std::for_each(before.applications.begin(), before.applications.end(), append);
    return keys;
}

void refuseSecondOs(const Selection& before, const std::vector<ManifestSP>& wanted, bool force) {
    const Manifest* os = nullptr;
    for (const ManifestSP& manifest : wanted) {
        if (!manifest->config.isOsTemplate) {
            continue;
        }
        if (os != nullptr) {
            conflict("'" + os->key().toString() + "' and '" + manifest->key().toString() +
                     "' are both OS templates");
        }
        os = manifest.get();
        if (before.os && before.os->name != os->config.name && !force) {
            conflict("the container has the OS template '" + before.os->toString() + "', not '" +
                     os->config.name + "'");
        }
    }
}

bool isMadeFor(const Manifest& application, const std::optional<QXATemplate>& os) {
    const std::vector<QXATemplate>& bases = application.config.baseOsTemplates;
    return bases.empty() ||
           (os && std::any_of(bases.begin(), bases.end(),
                              [&](const QXATemplate& base) { return matches(base, *os); }));
}

ManifestSP manifestIfKnown(const TemplateArea& templates, const QXATemplate& key) {
    try {
        return templates.manifest(key);
    } catch (const Failure&) {
        // The node does not have it any more, so nothing can be checked.
        return nullptr;
    }
}

// Checks the base OS and conflict rules for the templates that the container will have. Problems
// that existed before do not fail this request.
void checkSelection(const TemplateArea& templates, const Selection& before, const Selection& after,
                    const std::vector<ManifestSP>& wanted) {
    std::vector<ManifestSP> all;
    const auto append = [&](const QXATemplate& key) {
        if (ManifestSP manifest = manifestIfKnown(templates, key)) {
            all.push_back(std::move(manifest));
        }
    };
    if (after.os) {
        append(*after.os);
    }
    std::for_each(after.applications.begin(), after.applications.end(), append);
    const auto isNew = [&](const ManifestSP& manifest) {
        return std::any_of(wanted.begin(), wanted.end(), [&](const ManifestSP& other) {
            return other->key() == manifest->key();
        });
    };
    for (const ManifestSP& manifest : all) {
        if (!manifest->config.isOsTemplate && !isMadeFor(*manifest, after.os) &&
            (isNew(manifest) || isMadeFor(*manifest, before.os))) {
            conflict("application template '" + manifest->key().toString() +
                     "' is not made for the container's OS template '" +
                     (after.os ? after.os->toString() : "") + "'");
        }
        for (const ManifestSP& other : all) {
            if (other != manifest && isNew(manifest) && inConflict(*manifest, *other)) {
                conflict("template '" + manifest->key().toString() + "' is in conflict with '" +
                         other->key().toString() + "'");
            }
        }
    }
}

// Divides the container's records into those to remove and those that stay.
void splitRecords(const std::vector<AreaRecord>& records, const Selection& after,
                  const std::vector<ManifestSP>& wanted, AreaChange& change) {
    for (const AreaRecord& record : records) {
        const QXATemplate* kept = after.find(record.key.name);
        const bool replaced = std::any_of(
            wanted.begin(), wanted.end(),
            [&](const ManifestSP& manifest) { return manifest->config.name == record.key.name; });
        const bool stays = kept != nullptr && *kept == record.key && !replaced;
        (stays ? change.staying : change.leaving).push_back(record);
    }
}

// The records of templates in an empty container.
std::vector<AreaRecord> recordsOf(const TemplateArea& templates,
                                  const std::vector<ManifestSP>& wanted) {
    std::vector<AreaRecord> records;
    for (const ManifestSP& manifest : wanted) {
        const base::Fd root = templates.openRoot(manifest->key());
        records.push_back({manifest->key(), manifest->config.isOsTemplate,
                           entriesOf(root.get(), manifest->key())});
    }
    return records;
}

void planComing(const LockedContainer& locked, std::vector<AreaRecord> wanted, bool force,
                AreaChange& change, std::vector<std::string>& kept) {
    AreaSituation situation{locked.area.root(), change.leaving, change.staying,
                            locked.area.nextSaved()};
    for (AreaRecord& record : wanted) {
        change.coming.push_back(
            planTemplate(situation, change.coming, std::move(record), force, kept));
    }
}

void carryOut(LockedContainer& locked, const AreaChange& change) {
    prepareChange(locked.area, change);
    try {
        locked.container.write(change.after);
    } catch (const Failure&) {
        // A configuration that is in place but not flushed counts, because readers use it.
        if (!(Container(locked.container.veid()).configured() == change.after)) {
            revertChange(locked.area, change);
            throw;
        }
    }
    try {
        finishChange(locked.area, change);
    } catch (const Failure&) {
        // The change has taken effect; the next writer cleans up, or reports why it cannot.
        return;
    }
}

}  // namespace

void addToContainer(const QXL::QXLEID& eid, const std::vector<QXATemplate>& keys, bool force,
                    const Reporter& reporter) {
    // A template that is chosen here must still exist when the configuration names it.
    const qxnode::FileLock templatesStay = lockAgainstWriters(qxnode::kTemplateLock, reporter);
    LockedContainer locked(eid, reporter);
    if (locked.container.isKr()) {
        conflict("container " + std::to_string(locked.container.veid()) +
                 " has an OS template of another technology, '" +
                 locked.container.configured().osTemplate + "'");
    }
    const TemplateArea templates;
    const Selection before = selectionOf(locked);
    const std::vector<ManifestSP> wanted = wantedTemplates(
        templates, before, keys.empty() ? everything(templates, before) : keys, force);
    if (wanted.empty()) {
        return;
    }
    refuseSecondOs(before, wanted, force);
    Selection after = before;
    for (const ManifestSP& manifest : wanted) {
        after.put(*manifest);
    }
    if (!force) {
        checkSelection(templates, before, after, wanted);
    }
    AreaChange change;
    change.after = asConfigured(after, locked.container.configured());
    splitRecords(locked.records, after, wanted, change);
    std::vector<AreaRecord> coming = recordsOf(templates, wanted);
    std::set<std::string> touched = directoriesOf(coming);
    touched.merge(directoriesOf(change.leaving));
    std::vector<std::string> kept;
    locked.whilePlain(touched, [&] {
        planComing(locked, std::move(coming), force, change, kept);
        carryOut(locked, change);
    });
    for (const std::string& path : kept) {
        reporter.remark("container " + eid.toString() + " keeps its own '/" + path + "'");
    }
}

void removeFromContainer(const QXL::QXLEID& eid, const std::vector<QXATemplate>& keys, bool force,
                         const Reporter& reporter) {
    if (keys.empty()) {
        return;
    }
    LockedContainer locked(eid, reporter);
    const Selection before = selectionOf(locked);
    Selection after = before;
    for (const QXATemplate& key : keys) {
        const QXATemplate* there = before.find(key.name);
        if (there == nullptr) {
            throw Failure(kTemUnknownTemplate,
                          "template '" + key.toString() + "' is not in the container");
        }
        if (!matches(key, *there)) {
            throw Failure(kTemUnknownVersion, "template '" + key.toString() +
                                                  "' is not in the container; it has '" +
                                                  there->toString() + "'");
        }
        if (after.os == *there) {
            after.os.reset();
        }
        std::erase(after.applications, *there);
    }
    if (!force && before.os && !after.os) {
        const TemplateArea templates;
        for (const QXATemplate& key : after.applications) {
            const ManifestSP manifest = manifestIfKnown(templates, key);
            if (manifest != nullptr && isMadeFor(*manifest, before.os) &&
                !isMadeFor(*manifest, after.os)) {
                conflict("OS template '" + before.os->toString() + "' is needed by '" +
                         key.toString() + "'");
            }
        }
    }
    AreaChange change;
    change.after = asConfigured(after, locked.container.configured());
    if (locked.container.isKr()) {
        change.after.osTemplate = locked.container.configured().osTemplate;
    }
    splitRecords(locked.records, after, {}, change);
    locked.whilePlain(directoriesOf(change.leaving), [&] { carryOut(locked, change); });
}

}  // namespace QXA::tem
