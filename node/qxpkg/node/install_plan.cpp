// See install_plan.h.
#include "node/qxpkg/node/install_plan.h"

#include <algorithm>

#include "node/kr/packaging.h"
#include "node/qxpkg/failure.h"
#include "node/template/machine.h"
#include "node/template/version_order.h"

namespace qxpkg {

using qxnode::KrManifest;

namespace {

std::string nameOf(const KrManifest& manifest) {
    return manifest.isOsTemplate
               ? "OS template '" + manifest.name + "'"
               : "application template '" + manifest.name + "' of '" + manifest.osName + "'";
}

std::string keyPath(const std::string& key) {
    return std::string(kKeysDir) + "/" + key;
}

std::string applicationPath(const std::string& name) {
    return std::string(qxnode::kKrApplicationDir) + "/" + name + qxnode::kKrApplicationSuffix;
}

std::map<std::string, std::string> filesOf(const NodeOsTemplate& os) {
    std::map<std::string, std::string> files;
    if (os.main) {
        files[qxnode::kKrManifestName] = os.main->text;
    }
    for (const auto& [name, file] : os.applications) {
        files[applicationPath(name)] = file.text;
    }
    for (const auto& [name, content] : os.keys) {
        files[keyPath(name)] = content;
    }
    if (os.cacheRecord) {
        files[qxnode::kKrCacheName] = *os.cacheRecord;
    }
    return files;
}

bool anyNamesKey(const NodeOsTemplate& os, const std::string& key) {
    return (os.main && namesKey(os.main->manifest, key)) ||
           std::any_of(os.applications.begin(), os.applications.end(),
                       [&](const auto& entry) { return namesKey(entry.second.manifest, key); });
}

void requireKeys(const KrManifest& manifest, const std::map<std::string, std::string>& keys) {
    for (const qxnode::KrRepository& repository : manifest.repositories) {
        if (!repository.key.empty() && !keys.contains(repository.key)) {
            throw Failure(nameOf(manifest) + " names the key '" + repository.key +
                          "', which is neither in its package nor on the node");
        }
    }
}

}  // namespace

InstallPlan::InstallPlan(const std::vector<TemplatePackage>& packages, Placing placing)
    : m_placing(placing) {
    // OS templates first, because an application may be listed before its OS template.
    for (const TemplatePackage& package : packages) {
        if (package.main.manifest.isOsTemplate) {
            addOs(package);
        }
    }
    for (const TemplatePackage& package : packages) {
        if (!package.main.manifest.isOsTemplate) {
            const KrManifest& manifest = package.main.manifest;
            addApplication(manifest.osName, package.main);
            addKeys(os(manifest.osName), package);
        }
    }
    for (const Record& record : m_records) {
        if (record.placed) {
            check(record);
        }
    }
    for (const auto& [name, os] : m_templates) {
        OsChange change = changeOf(os);
        if (!change.files.empty()) {
            m_changes.emplace(name, std::move(change));
        }
    }
}

InstallPlan::Os& InstallPlan::os(const std::string& name) {
    const std::string plain = qxnode::plainKrName(name);
    const auto known = m_templates.find(plain);
    if (known != m_templates.end()) {
        return known->second;
    }
    Os os;
    os.before = readNodeOsTemplate(plain).value_or(NodeOsTemplate{});
    os.after = os.before;
    return m_templates.emplace(plain, std::move(os)).first->second;
}

bool InstallPlan::place(const ManifestFile* present, const ManifestFile& file,
                        const std::string& what) {
    const KrManifest& manifest = file.manifest;
    const bool listed = std::any_of(m_records.begin(), m_records.end(), [&](const Record& known) {
        return known.os == (manifest.isOsTemplate ? manifest.name : manifest.osName) &&
               known.application == (manifest.isOsTemplate ? "" : manifest.name);
    });
    if (listed) {
        throw Failure(kRefused, what + " is listed twice");
    }
    if (m_placing == Placing::unconditional) {
        return true;
    }
    if (!QXA::tem::fitsThisMachine(manifest.architecture)) {
        throw Failure(kRefused, what + " is for architecture '" + manifest.architecture +
                                    "', this node is '" + QXA::tem::thisMachine() + "'");
    }
    if (present == nullptr) {
        return true;
    }
    if (m_placing == Placing::install) {
        throw Failure(kRefused, what + " already exists" +
                                    (present->manifest.version.empty()
                                         ? ""
                                         : ", version " + present->manifest.version));
    }
    return QXA::tem::versionLess(present->manifest.version, manifest.version);
}

void InstallPlan::record(const KrManifest& manifest, bool placed) {
    m_records.push_back({manifest.isOsTemplate ? manifest.name : manifest.osName,
                         manifest.isOsTemplate ? "" : manifest.name, placed});
}

void InstallPlan::addOs(const TemplatePackage& package) {
    const KrManifest& manifest = package.main.manifest;
    Os& entry = os(manifest.name);
    const ManifestFile* present = entry.before.main ? &*entry.before.main : nullptr;
    const bool placed = place(present, package.main, nameOf(manifest));
    record(manifest, placed);
    if (placed) {
        entry.whole = true;
        entry.after.main = package.main;
    }
    for (const auto& [name, file] : package.applications) {
        addApplication(manifest.name, file);
    }
    addKeys(entry, package);
}

void InstallPlan::addApplication(const std::string& osName, const ManifestFile& file) {
    Os& entry = os(osName);
    const std::string plain = qxnode::plainKrName(file.manifest.name);
    const auto known = entry.before.applications.find(plain);
    const ManifestFile* present =
        known == entry.before.applications.end() ? nullptr : &known->second;
    const bool placed = place(present, file, nameOf(file.manifest));
    record(file.manifest, placed);
    if (placed) {
        entry.after.applications[plain] = file;
    }
}

void InstallPlan::addKeys(Os& entry, const TemplatePackage& package) {
    for (const auto& [name, content] : package.keys) {
        const auto known = entry.after.keys.find(name);
        const bool differs = known != entry.after.keys.end() && known->second != content;
        // A key decides whose packages are trusted, so an application must not replace a key that
        // other templates use. The package of the OS template itself may.
        if (differs && !package.main.manifest.isOsTemplate && m_placing != Placing::unconditional) {
            throw Failure(kRefused, nameOf(package.main.manifest) + ": its key '" + name +
                                        "' is not the one that the node has");
        }
        if (!differs || entry.whole || !package.main.manifest.isOsTemplate) {
            entry.after.keys[name] = content;
        }
    }
}

void InstallPlan::check(const Record& record) const {
    const NodeOsTemplate& os = m_templates.at(qxnode::plainKrName(record.os)).after;
    if (record.application.empty()) {
        requireKeys(os.main->manifest, os.keys);
        return;
    }
    const KrManifest& manifest =
        os.applications.at(qxnode::plainKrName(record.application)).manifest;
    if (!os.main) {
        throw Failure(nameOf(manifest) + " lacks its OS template '" + record.os + "'");
    }
    const qxnode::Packaging* packaging = os.main->manifest.packaging;
    if (manifest.packaging != nullptr && packaging != nullptr && manifest.packaging != packaging) {
        throw Failure(nameOf(manifest) + " is packed as " + std::string(manifest.packaging->name) +
                      ", its OS template as " + std::string(packaging->name));
    }
    requireKeys(manifest, os.keys);
}

InstallPlan::OsChange InstallPlan::changeOf(const Os& os) {
    OsChange change;
    change.whole = os.whole;
    const auto before = filesOf(os.before);
    for (const auto& [path, content] : filesOf(os.after)) {
        const auto known = before.find(path);
        const bool isNew = known == before.end() || known->second != content;
        const bool isKey = path.starts_with(keyPath(""));
        // If the folder is replaced, keys that no manifest names any more are dropped.
        const bool isKept =
            os.whole &&
            (!isKey || anyNamesKey(os.after, path.substr(std::string_view(kKeysDir).size() + 1)));
        if (os.whole ? isKept : isNew) {
            change.files.emplace(path, content);
        }
    }
    return change;
}

}  // namespace qxpkg
