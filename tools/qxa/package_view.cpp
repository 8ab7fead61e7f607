// Turns package records into views.
#include "tools/qxa/package_view.h"

#include <algorithm>

#include "QXA/QXAPackageQXTemplate.h"

namespace qxa {

namespace {

std::string withoutDot(const std::string& name) {
    return name.starts_with('.') ? name.substr(1) : name;
}

}  // namespace

std::string requestName(const QXL::QXLPackage& record) {
    const auto* qxTemplate = dynamic_cast<const QXA::QXAPackageQXTemplate*>(&record);
    if (qxTemplate == nullptr) {
        return record.name;
    }
    if (dynamic_cast<const QXA::QXAPackageQXTemplateStd*>(&record) != nullptr) {
        return record.version.empty() ? record.name : record.name + "/" + record.version;
    }
    return qxTemplate->isOsTemplate ? record.name
                                    : record.os.osName.value_or("") + "/" + withoutDot(record.name);
}

PackageView viewOf(const QXL::QXLPackage& record) {
    PackageView view;
    view.name = requestName(record);
    view.version = record.version;
    view.kind = "package";
    view.architecture = record.architecture;
    view.summary = record.summary;
    view.description = record.description;
    view.platform = record.os.platform;
    view.osName = record.os.osName;
    view.osVersion = record.os.osVersion;
    if (const auto* qxTemplate = dynamic_cast<const QXA::QXAPackageQXTemplate*>(&record)) {
        const bool standard = dynamic_cast<const QXA::QXAPackageQXTemplateStd*>(&record) != nullptr;
        view.kind = qxTemplate->isOsTemplate ? "os" : "app";
        view.technology = standard ? "standard" : "kr";
        view.technologies = qxTemplate->getTechnologyList();
    }
    return view;
}

std::vector<PackageView> viewsOf(const QXL::QXLPackageList& records) {
    std::vector<PackageView> views;
    views.reserve(records.size());
    for (const auto& record : records) {
        if (record != nullptr) {
            views.push_back(viewOf(*record));
        }
    }
    return views;
}

}  // namespace qxa
