// Lists KR templates and packages with the template tools library.
#include "qxa/plugins/QXAPkg/QXAKRListing.h"

#include <algorithm>
#include <numeric>

#include "QXA/QXAEnvConfig.h"
#include "QXL/QXLError.h"
#include "QXL/QXLResult.h"
#include "qxa/plugins/QXAPkg/QXAKRPackages.h"
#include "qxa/plugins/QXAPkg/QXAKRSearchers.h"
#include "qxa/plugins/QXAPkg/QXAQxttResult.h"
#include "qxa/plugins/QXAPkg/QXATemplateTypeImpl.h"

namespace QXA {

namespace {

/// A word of the options that switches something on.
constexpr std::uint32_t kOn = 1;

qxtt_options listingOptions(const QXAPackageListOptions& options) {
    qxtt_options made;
    initQxttOptions(options, made);
    return made;
}

bool wantsTemplates(const QXAPackageListOptions& options) {
    return (options.showFlags() & kShowTemplates) != 0;
}

bool wantsPackages(const QXAPackageListOptions& options) {
    return (options.showFlags() & kShowPackages) != 0;
}

/// Appends templates to a list, all of them or those that a request selects.
class TemplateAppender {
public:
    TemplateAppender(const QXAPackageListOptions& options, QXL::QXLPackageList* out)
        : m_options(options), m_out(out) {}

    void appendAll(const templateListEntry* const* entries, const std::string& osName,
                   bool status) const {
        append(entries, osName, status, [](const QXAPackageQXTemplate&) { return true; });
    }

    void appendSelected(const templateListEntry* const* entries, const std::string& osName,
                        bool status, const QXL::QXLPackageList& requested) const {
        append(entries, osName, status, [&](const QXAPackageQXTemplate& record) {
            return isShown(record) && isSelected(record, requested);
        });
    }

private:
    template <typename Keep>
    void append(const templateListEntry* const* entries, const std::string& osName, bool status,
                const Keep& keep) const {
        if (entries == nullptr || m_out == nullptr) {
            return;
        }
        for (; *entries != nullptr; ++entries) {
            if ((*entries)->info == nullptr) {
                continue;
            }
            const auto record = makeKRTemplate(**entries, osName, m_options.showSummary(), status);
            if (keep(record)) {
                m_out->push_back(std::make_shared<QXAPackageQXTemplate>(record));
            }
        }
    }

    [[nodiscard]] bool isShown(const QXAPackageQXTemplate& record) const {
        const auto shown = m_options.showFlags() & kShowTemplates;
        return shown != (record.isOsTemplate ? kShowApplicationTemplates : kShowOsTemplates);
    }

    [[nodiscard]] bool isSelected(const QXAPackageQXTemplate& record,
                                  const QXL::QXLPackageList& requested) const {
        if (requested.empty()) {
            return !m_options.listCompatible();
        }
        const KRTemplateSearcher matches(m_options);
        return std::any_of(
            requested.begin(), requested.end(),
            [&](const QXL::QXLPackageSP& package) { return matches(package, record); });
    }

    const QXAPackageListOptions& m_options;
    QXL::QXLPackageList* m_out;
};

/// Asks for the templates of an OS template, itself included.
int getTemplates(const std::string& osName, const qxtt_options& options,
                 QxttTemplateEntries& entries) {
    const int code = entries.fill([&](templateListEntry*** out) {
        return qxtt_get_templates_list(osName.c_str(), &options, out);
    });
    if (code != 0) {
        QXL::setErrorMessage("Cannot list application templates of KR OS template %s with %d",
                             osName.c_str(), code);
    }
    return code;
}

/// A container as the library knows it.
class Container {
public:
    Container(int veid, const QXAPackageListOptions& options) : m_veid(veid), m_options(options) {}

    int listPackages(QXL::QXLPackageList* out) const {
        std::string osName;
        if (getOsTemplate(osName) != 0) {
            return QXL::kPkgFailed;
        }
        auto options = listingOptions(m_options);
        setQxttOption(options, QXTT_OPTION_VE_PACKAGES_OFFSET, kOn);
        QxttPackageEntries entries;
        const int code = entries.fill(
            [&](packageListEntry*** array) { return qxtt_get_ve_pkgs(m_veid, &options, array); });
        if (code != 0) {
            QXL::setErrorMessage("Cannot get list of VEs %d packages with %d", m_veid, code);
            return QXL::kPkgFailed;
        }
        QXL::QXLPackageList dropped;
        return appendPackages(entries.value(), osName, m_options.showSummary(),
                              out == nullptr ? dropped : *out);
    }

    /// All templates of the node for the container's OS template, whatever the request names.
    int listCompatibleTemplates(QXL::QXLPackageList* out) const {
        std::string osName;
        if (getOsTemplate(osName) != 0) {
            return QXL::kPkgFailed;
        }
        const auto options = listingOptions(m_options);
        const bool status = qxtt_get_ve_status(m_veid, &options) > 0;
        QxttTemplateEntries entries;
        if (getTemplates(osName, options, entries) != 0) {
            return QXL::kPkgFailed;
        }
        TemplateAppender(m_options, out).appendAll(entries.value(), osName, status);
        return QXL::kPkgOk;
    }

    int listInstalledTemplates(const QXL::QXLPackageList& requested,
                               QXL::QXLPackageList* out) const {
        std::string osName;
        if (getOsTemplate(osName) != 0) {
            return QXL::kPkgFailed;
        }
        auto options = listingOptions(m_options);
        setQxttOption(options, QXTT_OPTION_VE_TEMPLATES_OFFSET, kOn);
        QxttTemplateEntries entries;
        const int code = entries.fill([&](templateListEntry*** array) {
            return qxtt_get_ve_templates_list(m_veid, &options, array);
        });
        if (code != 0) {
            QXL::setErrorMessage("Cannot get list of VEs %d application templates with %d", m_veid,
                                 code);
            return QXL::kPkgFailed;
        }
        // A listing of compatible templates sets the flag the other way round; agents expect both.
        const bool status = qxtt_get_ve_status(m_veid, &options) == 0;
        TemplateAppender(m_options, out).appendSelected(entries.value(), osName, status, requested);
        return QXL::kPkgOk;
    }

private:
    /// The name without its leading dot.
    int getOsTemplate(std::string& osName) const {
        const auto options = listingOptions(m_options);
        QxttText name;
        const int code =
            name.fill([&](char** text) { return qxtt_get_ve_ostemplate(m_veid, text, &options); });
        if (code != 0) {
            QXL::setErrorMessage("Cannot get VEs %d OS template name with %d", m_veid, code);
            return code;
        }
        if (name.value() != nullptr) {
            osName = *name.value() == '.' ? name.value() + 1 : name.value();
        }
        return code;
    }

    int m_veid;
    const QXAPackageListOptions& m_options;
};

}  // namespace

int getVeidString(const QXL::QXLEID& eid, std::string& veid) {
    QXAEnvConfig config;
    const int result = QXATemplateTypeImpl::getVeConfig(eid, config);
    if (result == QXL::kEnvIsNode) {
        veid.clear();
        return QXL::kPkgOk;
    }
    if (result != QXL::kEnvContainer) {
        return result;
    }
    int number = 0;
    if (config.getVeid(number) != 0) {
        return QXL::kPkgFailed;
    }
    veid = std::to_string(number);
    return QXL::kPkgOk;
}

int listKRInContainer(int veid, const QXL::QXLPackageList& requested,
                      const QXAPackageListOptions& options, QXL::QXLPackageList* out) {
    // In a container all packages are its own: there are no "packages of a template" to list.
    if ((options.state() & ~std::uint32_t{kStateIncludedPackages}) == 0) {
        return QXL::kPkgOk;
    }
    const Container container(veid, options);
    if (wantsPackages(options) && container.listPackages(out) != QXL::kPkgOk) {
        return QXL::kPkgFailed;
    }
    if (!wantsTemplates(options)) {
        return QXL::kPkgOk;
    }
    return options.listCompatible() ? container.listCompatibleTemplates(out)
                                    : container.listInstalledTemplates(requested, out);
}

int listKROnNode(const QXL::QXLPackageList& requested, const QXAPackageListOptions& options,
                 QXL::QXLPackageList* out) {
    if (wantsPackages(options) && out != nullptr &&
        std::accumulate(requested.begin(), requested.end(), out, PackageRPMListReader(options)) ==
            nullptr) {
        return QXL::kPkgFailed;
    }
    if (!wantsTemplates(options)) {
        return QXL::kPkgOk;
    }
    QxttNames names;
    const int code = names.fill([](char*** array) { return qxtt_get_all_base(array); });
    if (code != 0) {
        QXL::setErrorMessage("Cannot get list of KR OS templates with %d", code);
        return QXL::kPkgFailed;
    }
    const auto queryOptions = listingOptions(options);
    const TemplateAppender appender(options, out);
    for (char* const* name = names.value(); name != nullptr && *name != nullptr; ++name) {
        QxttTemplateEntries entries;
        if (getTemplates(*name, queryOptions, entries) != 0) {
            return QXL::kPkgFailed;
        }
        appender.appendSelected(entries.value(), *name, false, requested);
    }
    return QXL::kPkgOk;
}

}  // namespace QXA
