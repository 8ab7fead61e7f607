// Matches, lists, removes and selects KR templates.
#include "qxa/plugins/QXAPkg/QXAKRSearchers.h"

#include "QXL/QXLError.h"
#include "QXL/QXLMessage.h"  // __assert_fail
#include "QXL/QXLResult.h"
#include "qxa/plugins/QXAPkg/QXAKRPackages.h"
#include "qxa/plugins/QXAPkg/QXAPkgExec.h"
#include "qxa/plugins/QXAPkg/QXAQxttResult.h"

namespace QXA {

namespace {

/// Ends the process, in every build, if an accumulator has no destination. Agents recognise these
/// reports by file and line, so both are fixed and do not follow changes of this file.
void requireDestination(const void* _dst, unsigned line, const char* function) {
    if (_dst == nullptr) {
        __assert_fail("_dst", "qxa/plugins/QXAPkg/QXAKRTemplateType", line, function);
    }
}

}  // namespace

bool KRTemplateSearcher::operator()(const QXL::QXLPackageSP& requested,
                                    const QXAPackageQXTemplate& listed) const {
    if (requested == nullptr) {
        return false;
    }
    if (!m_compatible) {
        return matchKRTemplate(*requested, listed);
    }
    return isKRTemplate(requested) && matchCompatibleKRTemplate(*asKRTemplate(requested), listed);
}

bool KRTemplateSearcher::matchKRTemplate(const QXL::QXLPackage& a, const QXL::QXLPackage& b) {
    return a.name == b.name && osNameOf(a) == osNameOf(b);
}

bool KRTemplateSearcher::matchCompatibleKRTemplate(const QXAPackageQXTemplate& a,
                                                   const QXAPackageQXTemplate& b) {
    return a.isOsTemplate != b.isOsTemplate ? getOSName(a) == getOSName(b) : matchKRTemplate(a, b);
}

std::string KRTemplateSearcher::getOSName(const QXAPackageQXTemplate& krTemplate) {
    return krTemplate.isOsTemplate ? krTemplate.name : osNameOf(krTemplate);
}

PackageRPMListReader::PackageRPMListReader(const QXAPackageListOptions& options)
    : m_included((options.state() & kStateIncludedPackages) != 0), m_options() {
    initQxttOptions(options, m_options);
}

QXL::QXLPackageList* PackageRPMListReader::operator()(QXL::QXLPackageList* out,
                                                      const QXL::QXLPackageSP& package) const {
    if (out == nullptr || !isKRTemplate(package)) {
        return out;
    }
    const auto krTemplate = asKRTemplate(package);
    const int result = m_included ? listIncludedPackageRPMs(*krTemplate, *out)
                                  : listAvailablePackageRPMs(*krTemplate, *out);
    return result == 0 ? out : nullptr;
}

qxtt_options PackageRPMListReader::packageListOptions() const {
    qxtt_options options = m_options;
    setQxttOption(options, QXTT_OPTION_MASK_OFFSET, QXTT_MASK_PACKAGE_LISTS);
    return options;
}

int PackageRPMListReader::listAvailablePackageRPMs(const QXAPackageQXTemplate& krTemplate,
                                                   QXL::QXLPackageList& out) const {
    if (!krTemplate.isOsTemplate) {
        return QXL::kPkgFailed;
    }
    const auto& name = krTemplate.name;
    const auto options = packageListOptions();
    QxttPackageEntries entries;
    const int code = entries.fill([&](packageListEntry*** array) {
        return qxtt_get_template_pkgs(name.c_str(), &options, array);
    });
    if (code != 0) {
        QXL::setErrorMessage("Cannot list KR template %s packages with %d", name.c_str(), code);
        return code;
    }
    const auto mask = qxttOption(m_options, QXTT_OPTION_MASK_OFFSET);
    return appendPackages(entries.value(), name, (mask & QXTT_MASK_SUMMARY_BIT) != 0, out);
}

int PackageRPMListReader::listIncludedPackageRPMs(const QXAPackageQXTemplate& krTemplate,
                                                  QXL::QXLPackageList& out) const {
    const auto& name = krTemplate.name;
    const auto osName = KRTemplateSearcher::getOSName(krTemplate);
    if (osName.empty()) {
        QXL::setErrorMessage("Unknown OS template name");
        return QXL::kPkgFailed;
    }
    const auto options = packageListOptions();
    QxttTemplateInfo info;
    if (krTemplate.isOsTemplate) {
        const int code = info.fill([&](tmpl_info* record) {
            return qxtt_get_os_tmpl_info(osName.c_str(), &options, record);
        });
        if (code != 0) {
            QXL::setErrorMessage("Cannot get KR OS template %s info with %d", osName.c_str(), code);
            return code;
        }
    } else {
        const int code = info.fill([&](tmpl_info* record) {
            return qxtt_get_app_tmpl_info(osName.c_str(), name.c_str(), &options, record);
        });
        if (code != 0) {
            QXL::setErrorMessage("Cannot get KR application template %s %s info with %d",
                                 name.c_str(), osName.c_str(), code);
            return code;
        }
    }
    // Without the first list (what the template itself adds) the listing fails. The other two may
    // be missing; they are listed even if the first is.
    const int result = appendPackages(info.value().packages, osName, out);
    appendPackages(info.value().base_packages, osName, out);
    appendPackages(info.value().late_base_packages, osName, out);
    return result;
}

bool QXTemplateRemover::operator()(const QXL::QXLPackageSP& package,
                                   exec_argument_type arguments) const {
    if (!isKRTemplate(package)) {
        return true;
    }
    if (isKRApplicationTemplate(package)) {
        arguments.emplace_back(kExecOfOsTemplate);
        arguments.push_back(osNameOf(*package));
    }
    arguments.push_back(package->name);
    return execCommand(arguments) != 0;
}

exec_argument_type* PackageOsNameWriter::operator()(exec_argument_type* _dst,
                                                    const QXL::QXLPackageSP& package) const {
    requireDestination(_dst, 274,
                       "QXA::exec_argument_type* "
                       "QXA::PackageOsNameWriter::operator()(QXA::exec_argument_type*, "
                       "boost::shared_ptr<const QXL::QXLPackage>) const");
    if (isKROsTemplate(package)) {
        _dst->push_back(package->name);
    }
    return _dst;
}

QXL::QXLPackageList* getPackageForUpdate(QXL::QXLPackageList* _dst,
                                         const QXL::QXLInstallationPackageSP& package) {
    requireDestination(_dst, 843,
                       "QXL::QXLPackageList* QXA::getPackageForUpdate(QXL::QXLPackageList*, "
                       "const QXL::QXLInstallationPackageSP&)");
    if (package != nullptr && package->path.empty() && isKRTemplate(package->package)) {
        _dst->push_back(package->package);
    }
    return _dst;
}

}  // namespace QXA
