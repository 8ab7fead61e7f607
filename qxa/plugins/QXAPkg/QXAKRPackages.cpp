// Makes records from the results of the template tools library.
#include "qxa/plugins/QXAPkg/QXAKRPackages.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "qxa/plugins/QXAPkg/QXAStandardPackages.h"

namespace QXA {

namespace {

/// An unknown (null) text counts as empty.
const char* textOf(const char* text) {
    return text == nullptr ? "" : text;
}

std::shared_ptr<QXL::QXLPackageRpm> makePackage(const char* name, const std::string& osName) {
    auto record = std::make_shared<QXL::QXLPackageRpm>();
    record->name = textOf(name);
    assignOsName(*record, osName.c_str());
    record->os.platform = kLinuxPlatform;
    return record;
}

}  // namespace

std::shared_ptr<const QXAPackageQXTemplate> asKRTemplate(const QXL::QXLPackageSP& package) {
    return std::dynamic_pointer_cast<const QXAPackageQXTemplate>(package);
}

bool isKRTemplate(const QXL::QXLPackageSP& package) {
    return asKRTemplate(package) != nullptr && !isStandardPackage(package);
}

bool isKROsTemplate(const QXL::QXLPackageSP& package) {
    return isKRTemplate(package) && asKRTemplate(package)->isOsTemplate;
}

bool isKRApplicationTemplate(const QXL::QXLPackageSP& package) {
    return isKRTemplate(package) && !asKRTemplate(package)->isOsTemplate;
}

QXL::QXLPackageList selectKRPackages(const QXL::QXLPackageList& packages) {
    QXL::QXLPackageList selected;
    std::copy_if(packages.begin(), packages.end(), std::back_inserter(selected),
                 [](const QXL::QXLPackageSP& package) { return !isStandardPackage(package); });
    return selected;
}

void assignDottedName(std::string& target, const char* source) {
    if (source == nullptr || *source == '\0') {
        return;
    }
    target = *source == '.' ? source : std::string(".") + source;
}

void assignOsName(QXL::QXLPackage& record, const char* source) {
    std::string dotted;
    assignDottedName(dotted, source);
    record.os.osName = dotted;
}

std::string osNameOf(const QXL::QXLPackage& record) {
    return record.os.osName.value_or("");
}

void setQxttOption(qxtt_options& options, unsigned offset, std::uint32_t value) {
    options.words[offset / sizeof(std::uint32_t)] = value;
}

std::uint32_t qxttOption(const qxtt_options& options, unsigned offset) {
    return options.words[offset / sizeof(std::uint32_t)];
}

void initQxttOptions(const QXAPackageListOptions& listOptions, qxtt_options& options) {
    qxtt_set_default_options(&options);
    setQxttOption(options, QXTT_OPTION_QUIET_OFFSET, 0);
    setQxttOption(options, QXTT_OPTION_LOCAL_OFFSET, 1);
    setQxttOption(options, QXTT_OPTION_MASK_OFFSET,
                  listOptions.showSummary() ? QXTT_MASK_LIST_SUMMARY : QXTT_MASK_LIST);
}

qxtt_options makeQueryOptions(std::uint32_t mask) {
    qxtt_options options{};
    setQxttOption(options, QXTT_OPTION_LOCAL_OFFSET, 1);
    setQxttOption(options, QXTT_OPTION_MASK_OFFSET, mask);
    return options;
}

bool isQxttYes(const char* text) {
    return text != nullptr && std::strcmp(text, "yes") == 0;
}

std::string joinQxttLines(const char* const* lines) {
    std::string text;
    for (; *lines != nullptr; ++lines) {
        text += *lines;
        text += '\n';
    }
    return text;
}

QXAPackageQXTemplate makeKRTemplate(const templateListEntry& entry, const std::string& osName,
                                    bool showSummary, bool status) {
    const tmpl_info& info = *entry.info;
    QXAPackageQXTemplate record;
    assignDottedName(record.name, info.name);
    record.isOsTemplate = entry.is_os != 0;
    record.versionFlag = isQxttYes(info.cached);
    record.status = status;
    if (info.architecture != nullptr) {
        record.architecture = info.architecture;
    }
    if (showSummary && info.summary != nullptr) {
        record.summary = info.summary;
    }
    if (!record.isOsTemplate) {
        assignOsName(record, osName.c_str());
    }
    record.os.platform = kLinuxPlatform;
    return record;
}

int appendPackages(const packageListEntry* const* entries, const std::string& osName,
                   bool showSummary, QXL::QXLPackageList& out) {
    if (entries == nullptr) {
        return -1;
    }
    for (; *entries != nullptr; ++entries) {
        const packageListEntry& entry = **entries;
        const auto record = makePackage(entry.name, osName);
        record->architecture = textOf(entry.architecture);
        record->version = textOf(entry.version);
        if (showSummary && entry.summary != nullptr) {
            record->summary = entry.summary;
        }
        out.push_back(record);
    }
    return 0;
}

int appendPackages(const char* const* names, const std::string& osName, QXL::QXLPackageList& out) {
    if (names == nullptr) {
        return -1;
    }
    for (; *names != nullptr; ++names) {
        out.push_back(makePackage(*names, osName));
    }
    return 0;
}

}  // namespace QXA
