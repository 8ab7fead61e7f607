// Works out list options.
#include "qxa/plugins/QXAPkg/QXAPackageListOptions.h"

namespace QXA {

namespace {

std::uint32_t kindOf(const std::string& type) {
    if (type == "rpm") {
        return kShowPackages;
    }
    if (type == "os") {
        return kShowOsTemplates;
    }
    return type == "app" ? kShowApplicationTemplates : 0U;
}

}  // namespace

QXAPackageListOptions::QXAPackageListOptions(const QXL::QXLPackageManagerListOptions& options,
                                             bool first, bool inContainer)
    : m_flags(options.flags) {
    for (const auto& type : options.types) {
        m_showFlags |= kindOf(type);
    }
    if (m_showFlags == 0) {
        m_showFlags = kShowTemplates;
    }
    if (!first) {
        if ((m_showFlags & kShowApplicationTemplates) != 0) {
            m_state |= kStateApplicationTemplates;
        }
        if ((m_showFlags & kShowPackages) != 0) {
            m_state |= listCompatible() ? kStateCompatiblePackages : kStateIncludedPackages;
        }
    } else if (inContainer) {
        m_state |= m_showFlags & (kShowPackages | kShowTemplates);
    }
    if (!inContainer) {
        if ((m_showFlags & kShowOsTemplates) != 0) {
            m_state |= kStateNodeOsTemplates;
        }
        if ((m_showFlags & kShowApplicationTemplates) != 0) {
            m_state |= kStateApplicationTemplates;
        }
    }
}

}  // namespace QXA
