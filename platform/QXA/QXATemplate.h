// Template records that the template manager fills and the plug-in reads. Values throughout.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace QXA {

/// Key of a template. The version may be empty; each call says what it selects then.
struct QXATemplate {
    QXATemplate() = default;
    QXATemplate(std::string templateName, std::string templateVersion)
        : name(std::move(templateName)), version(std::move(templateVersion)) {}

    std::string name;
    std::string version;

    bool operator==(const QXATemplate&) const = default;

    /// "name/version", or the name alone when either is empty.
    [[nodiscard]] std::string toString() const {
        return name.empty() || version.empty() ? name : name + "/" + version;
    }
};

/// One version of a template, as the template manager lists it.
struct QXAPackageVersion {
    std::string version;
    bool packageFlag = false;                  ///< copied into the standard record
    bool isOsTemplate = false;                 ///< an OS template, else an application template
    std::vector<QXATemplate> baseOsTemplates;  ///< OS templates that an application is made for
    std::string detail;                        ///< copied from the manifest into records
};

/// One template with its versions, as the template manager lists it.
struct QXAPackageInfo {
    std::string name;
    std::string vendor;  ///< for the template manager; the plug-in does not read it
    std::string origin;  ///< for the template manager; the plug-in does not read it
    std::vector<QXAPackageVersion> versions;
};

/// A package named in a template's configuration.
struct QXAPackage : QXATemplate {
    std::uint32_t kind = 0;            ///< for the template manager; the plug-in does not read it
    std::vector<std::string> details;  ///< for the template manager; the plug-in does not read it
};

/// Configuration of one template version.
struct QXATemplateConfigInfo : QXAPackageVersion {
    std::string summary;
    std::string description;
    std::string name;
    std::map<std::string, std::string> properties;  ///< the plug-in does not read them
    std::map<std::string, QXAPackage> packages;     ///< by package key
    std::string platform;                           ///< the OS platform, "Linux"
    std::string architecture;
    std::vector<std::string> technologies;  ///< what the template requires of a node
};

}  // namespace QXA
