// Listings of templates.
#include "node/agent/tem/template_query.h"

#include <algorithm>

#include "node/agent/tem/template_store.h"
#include "node/support/failure.h"

namespace QXA::tem {

using qxnode::Failure;

namespace {

std::shared_ptr<const Manifest> readable(const TemplateArea& area, const QXATemplate& key) {
    try {
        return area.manifest(key);
    } catch (const Failure&) {
        // A query for this version's configuration reports the reason.
        return nullptr;
    }
}

// Appends a version; without a manifest only the version itself is filled in.
void append(QXAPackageInfo& info, const std::string& version, const Manifest* manifest) {
    if (manifest == nullptr) {
        QXAPackageVersion unread;
        unread.version = version;
        info.versions.push_back(std::move(unread));
        return;
    }
    info.versions.push_back(versionOf(*manifest));
    info.vendor = manifest->vendor;
    info.origin = manifest->origin;
}

bool isOfType(const Manifest* manifest, QXATEMLocal::pkgType type) {
    if (manifest == nullptr || type == QXATEMLocal::kAllTemplates) {
        return true;
    }
    return manifest->config.isOsTemplate == (type == QXATEMLocal::kOsTemplates);
}

}  // namespace

std::vector<QXAPackageInfo> listNode(const TemplateArea& area, QXATEMLocal::pkgType type) {
    std::vector<QXAPackageInfo> infos;
    for (const auto& [name, versions] : area.listing()) {
        QXAPackageInfo info;
        info.name = name;
        for (const std::string& version : versions) {
            const std::shared_ptr<const Manifest> manifest = readable(area, {name, version});
            if (isOfType(manifest.get(), type)) {
                append(info, version, manifest.get());
            }
        }
        if (!info.versions.empty()) {
            infos.push_back(std::move(info));
        }
    }
    return infos;
}

std::vector<QXAPackageInfo> listContainer(const TemplateArea& area, const Container& container,
                                          QXATEMLocal::pkgType type) {
    std::vector<QXATemplate> keys;
    if (type != QXATEMLocal::kApplicationTemplates) {
        if (const std::optional<QXATemplate> os = container.osTemplate()) {
            keys.push_back(*os);
        }
    }
    if (type != QXATEMLocal::kOsTemplates) {
        const std::vector<QXATemplate> applications = container.applications();
        keys.insert(keys.end(), applications.begin(), applications.end());
    }
    std::vector<QXAPackageInfo> infos;
    for (QXATemplate& key : keys) {
        const std::vector<std::string> known = area.versions(key.name);
        if (key.version.empty() && !known.empty()) {
            key.version = known.back();
        }
        QXAPackageInfo info;
        info.name = key.name;
        append(info, key.version, readable(area, key).get());
        infos.push_back(std::move(info));
    }
    std::stable_sort(
        infos.begin(), infos.end(),
        [](const QXAPackageInfo& a, const QXAPackageInfo& b) { return a.name < b.name; });
    return infos;
}

QXAPackageInfo describe(const TemplateArea& area, const QXATemplate& key) {
    std::vector<std::string> versions = area.versions(key.name);
    if (!key.version.empty() || versions.empty()) {
        versions = {area.resolve(key).version};
    }
    QXAPackageInfo info;
    info.name = key.name;
    for (const std::string& version : versions) {
        append(info, version, readable(area, {key.name, version}).get());
    }
    return info;
}

}  // namespace QXA::tem
