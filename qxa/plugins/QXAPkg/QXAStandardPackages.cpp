// Reads standard templates from the template manager.
#include "qxa/plugins/QXAPkg/QXAStandardPackages.h"

#include "QXA/QXATEMLocal.h"
#include "QXL/QXLLog.h"

namespace QXA {

namespace {

bool isUnknown(int result) {
    return result == kTemUnknownTemplate || result == kTemUnknownVersion;
}

QXL::QXLPackageList records(const QXL::QXLInstallationPackageList& packages) {
    QXL::QXLPackageList list;
    list.reserve(packages.size());
    for (const auto& package : packages) {
        list.push_back(package == nullptr ? nullptr : package->package);
    }
    return list;
}

}  // namespace

bool isStandardPackage(const std::shared_ptr<const QXL::QXLPackage>& package) {
    return dynamic_cast<const QXAPackageQXTemplateStd*>(package.get()) != nullptr;
}

QXL::QXLPackageList standardPackages(const QXL::QXLPackageList& packages) {
    QXL::QXLPackageList standard;
    for (const auto& package : packages) {
        if (isStandardPackage(package)) {
            standard.push_back(package);
        }
    }
    return standard;
}

QXL::QXLPackageList standardPackages(const QXL::QXLInstallationPackageList& packages) {
    return standardPackages(records(packages));
}

std::vector<QXATemplate> standardTemplates(const QXL::QXLPackageList& packages) {
    std::vector<QXATemplate> keys;
    for (const auto& package : standardPackages(packages)) {
        keys.emplace_back(package->name, package->version);
    }
    return keys;
}

std::vector<QXATemplate> standardTemplates(const QXL::QXLInstallationPackageList& packages) {
    return standardTemplates(records(packages));
}

bool StandardPackageConfigReader::operator()(const QXAPackageVersion& version,
                                             std::vector<QXAStandardQXTemplateEx>* records) const {
    QXATemplateConfigInfo config;
    const int result =
        QXATEMLocal(nullptr).getTemplateConfig(QXATemplate(m_name, version.version), config);
    if (result == kTemOk) {
        records->emplace_back(config, version);
    } else if (result != kTemUnknownVersion) {
        QXL::Log.put(QXL::kLogError, "Failed to read QX template %s/%s configuration",
                     m_name.c_str(), version.version.c_str());
    }
    return false;
}

bool StandardPackageTEMReader::operator()(const std::shared_ptr<const QXL::QXLPackage>& package,
                                          QXL::QXLPackageList* out) const {
    if (package == nullptr) {
        return false;
    }
    QXAPackageInfo info;
    const int result = QXATEMLocal(nullptr).get(QXATemplate(package->name, package->version), info);
    if (result != kTemOk) {
        return !isUnknown(result);
    }
    if (info.versions.empty()) {
        return false;
    }
    std::vector<QXAStandardQXTemplateEx> records;
    StandardPackageConfigReader(info.name)(info.versions.front(), &records);
    if (!records.empty() && out != nullptr) {
        out->push_back(std::make_shared<QXAStandardQXTemplateEx>(records.front()));
    }
    return false;
}

void RPMPackagesAppender::operator()(const QXAStandardQXTemplateEx& record,
                                     QXL::QXLPackageList* out) const {
    if (out != nullptr) {
        out->insert(out->end(), record.packages.begin(), record.packages.end());
    }
}

}  // namespace QXA
