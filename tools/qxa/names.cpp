// Reads package names from the command line.
#include "tools/qxa/names.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>

#include "QXA/QXAPackageQXTemplate.h"

namespace qxa {

namespace {

constexpr const char* kPlatform = "Linux";

std::string dotted(const std::string& name) {
    return name.starts_with('.') ? name : "." + name;
}

std::shared_ptr<QXL::QXLPackage> krTemplate(const std::string& name) {
    auto record = std::make_shared<QXA::QXAPackageQXTemplate>();
    record->os.platform = kPlatform;
    const auto slash = name.find('/');
    if (slash == std::string::npos) {
        record->isOsTemplate = true;
        record->name = name;
    } else {
        record->os.osName = name.substr(0, slash);
        record->name = dotted(name.substr(slash + 1));
    }
    return record;
}

std::shared_ptr<QXL::QXLPackage> standardTemplate(const std::string& name) {
    auto record = std::make_shared<QXA::QXAPackageQXTemplateStd>();
    record->os.platform = kPlatform;
    const auto slash = name.find('/');
    record->name = name.substr(0, slash);
    record->version = slash == std::string::npos ? "" : name.substr(slash + 1);
    return record;
}

std::shared_ptr<QXL::QXLPackage> linuxPackage(const std::string& name, const NameContext& context) {
    std::shared_ptr<QXL::QXLPackage> record;
    if (context.deb) {
        record = std::make_shared<QXL::QXLPackageDeb>();
    } else {
        record = std::make_shared<QXL::QXLPackageRpm>();
    }
    record->name = name;
    record->os.platform = kPlatform;
    if (!context.osName.empty()) {
        record->os.osName = context.osName;
    }
    return record;
}

}  // namespace

bool isArchiveName(const std::string& name) {
    constexpr std::array<std::string_view, 8> endings{".tar",     ".tar.gz",  ".tgz", ".tar.xz",
                                                      ".tar.zst", ".tar.bz2", ".deb", ".rpm"};
    return std::any_of(endings.begin(), endings.end(),
                       [&](std::string_view ending) { return name.ends_with(ending); });
}

bool isPath(const std::string& argument) {
    for (const std::string_view start : {"/", "./", "../"}) {
        if (argument.starts_with(start)) {
            return true;
        }
    }
    return isArchiveName(argument) && std::filesystem::exists(argument);
}

std::shared_ptr<QXL::QXLPackage> recordOf(const std::string& name, const NameContext& context) {
    if (name.starts_with('.')) {
        return krTemplate(name);
    }
    if (context.packages && name.find('/') == std::string::npos) {
        return linuxPackage(name, context);
    }
    return standardTemplate(name);
}

QXL::QXLPackageList recordsOf(const std::vector<std::string>& names, const NameContext& context) {
    QXL::QXLPackageList records;
    for (const auto& name : names) {
        records.push_back(recordOf(name, context));
    }
    return records;
}

QXL::QXLInstallationPackageList installationsOf(const std::vector<std::string>& arguments,
                                                const NameContext& context) {
    QXL::QXLInstallationPackageList elements;
    for (const auto& argument : arguments) {
        auto element = std::make_shared<QXL::QXLInstallationPackage>();
        if (isPath(argument)) {
            element->path = std::filesystem::absolute(argument).lexically_normal();
        } else {
            element->package = recordOf(argument, context);
        }
        elements.push_back(std::move(element));
    }
    return elements;
}

}  // namespace qxa
