// Formats packages for messages.
#include "qxa/plugins/QXAPkg/QXAPackageText.h"

namespace QXA {

namespace {

template <typename List>
std::string joinPackages(const List& packages) {
    std::string text;
    for (const auto& package : packages) {
        if (&package != &packages.front()) {
            text += ", ";
        }
        text += getStringFromPackage(package);
    }
    return text;
}

}  // namespace

std::string getStringFromPackage(const QXL::QXLPackageSP& package) {
    if (package == nullptr) {
        return {};
    }
    const auto& osName = package->os.osName;
    if (!osName.has_value() || osName->empty()) {
        return package->name;
    }
    return package->name + " (OS " + *osName + ")";
}

std::string getStringFromPackage(const QXL::QXLInstallationPackageSP& package) {
    if (package == nullptr) {
        return {};
    }
    return package->package != nullptr ? getStringFromPackage(QXL::QXLPackageSP(package->package))
                                       : package->path;
}

std::string getStringFromPackageList(const QXL::QXLPackageList& packages) {
    return joinPackages(packages);
}

std::string getStringFromPackageList(const QXL::QXLInstallationPackageList& packages) {
    return joinPackages(packages);
}

}  // namespace QXA
