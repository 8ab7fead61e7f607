// Asks the template tools library for one package.
#include "qxa/plugins/QXAPkg/QXAPackageInfoReader.h"

#include <vector>

#include "QXL/QXLError.h"
#include "qxa/plugins/QXAPkg/QXAKRPackages.h"
#include "qxa/plugins/QXAPkg/QXAQxttResult.h"

namespace QXA {

namespace {

constexpr int kRead = 0;
constexpr int kUnreadable = 1;

void assignKnown(std::string& target, const char* source) {
    if (source != nullptr) {
        target = source;
    }
}

std::vector<std::string> texts(const char* const* list) {
    std::vector<std::string> found;
    for (; *list != nullptr; ++list) {
        found.emplace_back(*list);
    }
    return found;
}

}  // namespace

int PackageInfoReader::operator()(const QXL::QXLPackageSP& package,
                                  QXL::QXLPackageList& out) const {
    if (package == nullptr) {
        return kRead;
    }
    const auto krTemplate = asKRTemplate(package);
    auto record =
        krTemplate != nullptr ? getQXTemplateInfo(krTemplate.get()) : getLinuxPackageInfo(package);
    if (record == nullptr) {
        return kUnreadable;
    }
    out.push_back(std::move(record));
    return kRead;
}

std::shared_ptr<QXL::QXLPackage> PackageInfoReader::getLinuxPackage(
    const QXL::QXLPackageSP& package) {
    if (dynamic_cast<const QXL::QXLPackageDeb*>(package.get()) != nullptr) {
        return std::make_shared<QXL::QXLPackageDeb>();
    }
    if (dynamic_cast<const QXL::QXLPackageRpm*>(package.get()) != nullptr) {
        return std::make_shared<QXL::QXLPackageRpm>();
    }
    return nullptr;
}

QXL::QXLPackageSP PackageInfoReader::getLinuxPackageInfo(const QXL::QXLPackageSP& package) const {
    const auto& name = package->name;
    const auto osName = osNameOf(*package);
    if (osName.empty()) {
        QXL::setErrorMessage("Unknown OS name for package '%s'", name.c_str());
        return nullptr;
    }
    auto record = getLinuxPackage(package);
    if (record == nullptr) {
        QXL::setErrorMessage("Unknown type for package '%s'", name.c_str());
        return nullptr;
    }
    const auto options = makeQueryOptions(QXTT_MASK_PACKAGE_INFO);
    QxttPackageInfos infos;
    const int code = infos.fill([&](pkg_info*** out) {
        return qxtt_get_pkg_info(osName.c_str(), name.c_str(), &options, out);
    });
    if (code != 0) {
        QXL::setErrorMessage("Cannot get package info for package '%s' OS '%s'", name.c_str(),
                             osName.c_str());
        return nullptr;
    }
    const pkg_info* first = infos.value() == nullptr ? nullptr : *infos.value();
    if (first == nullptr) {
        QXL::setErrorMessage("Package '%s' was not found", name.c_str());
        return nullptr;
    }
    parseLinuxPackageInfo(*first, osName, *record);
    return record;
}

void PackageInfoReader::parseLinuxPackageInfo(const pkg_info& info, const std::string& osName,
                                              QXL::QXLPackage& record) {
    assignKnown(record.architecture, info.architecture);
    assignKnown(record.name, info.name);
    assignKnown(record.summary, info.summary);
    assignKnown(record.version, info.version);
    if (info.description != nullptr) {
        record.description = joinQxttLines(info.description);
    }
    record.os.platform = kLinuxPlatform;
    assignOsName(record, osName.c_str());
}

QXL::QXLPackageSP PackageInfoReader::getQXTemplateInfo(
    const QXAPackageQXTemplate* requested) const {
    const auto record = std::make_shared<QXAPackageQXTemplate>(*requested);
    const auto& name = requested->name;
    const auto osName = osNameOf(*requested);
    if (m_veid.empty() && !requested->isOsTemplate && osName.empty()) {
        QXL::setErrorMessage("Unknown OS name and eid for package '%s'", name.c_str());
        return nullptr;
    }
    const auto options = makeQueryOptions(QXTT_MASK_TEMPLATE_INFO);
    QxttTemplateInfo info;
    const int code = info.fill([&](tmpl_info* out) {
        if (requested->isOsTemplate) {
            return qxtt_get_os_tmpl_info(name.c_str(), &options, out);
        }
        const auto& where = m_veid.empty() ? osName : m_veid;
        return qxtt_get_app_tmpl_info(where.c_str(), name.c_str(), &options, out);
    });
    if (code != 0) {
        QXL::setErrorMessage("Cannot get QX template '%s' info: error code %d", name.c_str(), code);
        return nullptr;
    }
    parseQXTemplateInfo(info.value(), *record);
    return record;
}

void PackageInfoReader::parseQXTemplateInfo(const tmpl_info& info, QXAPackageQXTemplate& record) {
    assignDottedName(record.name, info.name);
    record.versionFlag = isQxttYes(info.cached);
    assignKnown(record.architecture, info.architecture);
    assignKnown(record.summary, info.summary);
    assignKnown(record.detail, info.config_path);
    if (info.description != nullptr) {
        record.description = joinQxttLines(info.description);
    }
    if (info.technologies != nullptr) {
        record.setTechnologyList(texts(info.technologies));
    }
    if (info.os_name != nullptr) {
        assignOsName(record, info.os_name);
    }
    record.os.platform = kLinuxPlatform;
}

}  // namespace QXA
