// QXAPackageListOptions: the agent's list options in the form that technologies use.
#pragma once

#include <cstdint>

#include "QXL/QXLPackageManagerOptions.h"

namespace QXA {

/// Bits of showFlags(): the requested kinds of packages.
enum PackageKind : std::uint32_t {
    kShowPackages = 1,              ///< "rpm"
    kShowOsTemplates = 2,           ///< "os"
    kShowApplicationTemplates = 4,  ///< "app"
    kShowTemplates = kShowOsTemplates | kShowApplicationTemplates,
};

/// More bits of state(), which also has those above: what the listing has to show.
enum PackageListState : std::uint32_t {
    kStateNodeOsTemplates = 8,
    kStateApplicationTemplates = 16,
    kStateIncludedPackages = 32,
    kStateCompatiblePackages = 64,
};

/// A value. Without a requested kind, templates of both kinds are shown.
class QXAPackageListOptions {
public:
    /// @param options      the agent's list options.
    /// @param first        the request names no packages.
    /// @param inContainer  the request targets a container.
    QXAPackageListOptions(const QXL::QXLPackageManagerListOptions& options, bool first,
                          bool inContainer);

    [[nodiscard]] std::uint32_t state() const { return m_state; }
    [[nodiscard]] std::uint32_t showFlags() const { return m_showFlags; }
    [[nodiscard]] bool showSummary() const { return (m_flags & QXL::kPkgListSummary) != 0; }
    [[nodiscard]] bool listCompatible() const { return (m_flags & QXL::kPkgListCompatible) != 0; }

private:
    std::uint32_t m_state = 0;
    std::uint32_t m_showFlags = 0;
    std::uint32_t m_flags;
};

}  // namespace QXA
