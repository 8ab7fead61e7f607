// Reads standard templates and selects among them.
#include "qxa/plugins/QXAPkg/QXAStandardListing.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <string_view>
#include <unordered_map>

#include "QXA/QXATEMLocal.h"
#include "QXL/QXLResult.h"
#include "qxa/plugins/QXAPkg/QXAPackageOrder.h"
#include "qxa/plugins/QXAPkg/QXAStandardPackages.h"

namespace QXA {

namespace {

QXATEMLocal::pkgType kindOf(std::uint32_t kinds) {
    switch (kinds & kShowTemplates) {
        case kShowOsTemplates:
            return QXATEMLocal::kOsTemplates;
        case kShowApplicationTemplates:
            return QXATEMLocal::kApplicationTemplates;
        default:
            return QXATEMLocal::kAllTemplates;
    }
}

/// Reserves room for `more` records. It at least doubles the capacity, so that repeated calls stay
/// cheap.
void makeRoom(StandardRecords& records, std::size_t more) {
    const auto needed = records.size() + more;
    if (needed > records.capacity()) {
        records.reserve(std::max(needed, 2 * records.capacity()));
    }
}

/// Finds the selected records that a record can be compatible with. In each compatible pair the
/// names are equal, or one template is a base OS template of the other; so an index by name is
/// enough.
class CompatibilityIndex {
public:
    explicit CompatibilityIndex(const StandardSelection& selected) {
        for (const auto* record : selected) {
            auto& byName = record->isOsTemplate ? m_osByName : m_appByName;
            byName.emplace(record->name, record);
            if (record->isOsTemplate) {
                continue;
            }
            for (const auto& base : record->baseOsTemplates) {
                m_appByBase.emplace(base->name, record);
            }
        }
    }

    [[nodiscard]] bool matches(const QXAStandardQXTemplateEx& record) const {
        if (record.isOsTemplate) {
            return anyCompatible(m_osByName, record.name, record) ||
                   anyCompatible(m_appByBase, record.name, record);
        }
        return anyCompatible(m_appByName, record.name, record) ||
               std::any_of(record.baseOsTemplates.begin(), record.baseOsTemplates.end(),
                           [&](const QXL::QXLPackageSP& base) {
                               return anyCompatible(m_osByName, base->name, record);
                           });
    }

private:
    using Names = std::unordered_multimap<std::string_view, const QXAStandardQXTemplateEx*>;

    static bool anyCompatible(const Names& names, const std::string& name,
                              const QXAStandardQXTemplateEx& record) {
        const auto [first, last] = names.equal_range(name);
        return std::any_of(first, last, [&](const Names::value_type& entry) {
            return PackagesCompatibilityChecker()(*entry.second, record);
        });
    }

    Names m_osByName;
    Names m_appByName;
    Names m_appByBase;
};

}  // namespace

int collectRecords(const std::vector<QXAPackageInfo>& infos, StandardRecords& out) {
    for (const auto& info : infos) {
        makeRoom(out, info.versions.size());
        const StandardPackageConfigReader reader(info.name);
        const bool stopped =
            std::any_of(info.versions.begin(), info.versions.end(),
                        [&](const QXAPackageVersion& version) { return reader(version, &out); });
        if (stopped) {
            return QXL::kPkgFailed;
        }
    }
    return QXL::kPkgOk;
}

int readTemplates(const QXL::QXLEID& eid, std::uint32_t kinds, StandardRecords& out) {
    std::vector<QXAPackageInfo> infos;
    const auto& where = eid.isValid() ? eid : QXL::QXLEID::EID_LOCAL;
    if (QXATEMLocal(nullptr).ls(infos, where, kindOf(kinds)) != kTemOk) {
        return QXL::kPkgFailed;
    }
    return collectRecords(infos, out);
}

StandardSelection allOf(const StandardRecords& records) {
    StandardSelection selection;
    selection.reserve(records.size());
    for (const auto& record : records) {
        selection.push_back(&record);
    }
    return selection;
}

StandardSelection selectRequested(const QXL::QXLPackageList& requested,
                                  const StandardRecords& records) {
    const PackageLess less;
    QXL::QXLPackageList wanted;
    std::copy_if(requested.begin(), requested.end(), std::back_inserter(wanted),
                 [](const QXL::QXLPackageSP& package) { return package != nullptr; });
    std::sort(wanted.begin(), wanted.end(), less);
    auto sorted = allOf(records);
    std::sort(sorted.begin(), sorted.end(),
              [&](const auto* a, const auto* b) { return less(*a, *b); });

    // The two ranges hold pointers of different types.
    struct Less {
        bool operator()(const QXAStandardQXTemplateEx* a, const QXL::QXLPackageSP& b) const {
            return PackageLess()(*a, b);
        }
        bool operator()(const QXL::QXLPackageSP& a, const QXAStandardQXTemplateEx* b) const {
            return PackageLess()(a, *b);
        }
    };
    StandardSelection selection;
    mergeIntersection(sorted.begin(), sorted.end(), wanted.begin(), wanted.end(),
                      std::back_inserter(selection), Less());
    return selection;
}

StandardSelection selectCompatible(const StandardSelection& selected, const StandardRecords& all) {
    const CompatibilityIndex index(selected);
    StandardSelection compatible;
    for (const auto& record : all) {
        if (index.matches(record)) {
            compatible.push_back(&record);
        }
    }
    return compatible;
}

void appendRecords(const StandardSelection& records, bool dropSummary, QXL::QXLPackageList* out) {
    if (out == nullptr) {
        return;
    }
    for (const auto* record : records) {
        auto copy = std::make_shared<QXAStandardQXTemplateEx>(*record);
        copy->description.clear();
        if (dropSummary) {
            copy->summary.clear();
        }
        out->push_back(std::move(copy));
    }
}

void appendListing(const StandardSelection& records, const QXAPackageListOptions& options,
                   QXL::QXLPackageList* out) {
    if ((options.showFlags() & kShowTemplates) != 0) {
        appendRecords(records, !options.showSummary(), out);
    }
    if ((options.showFlags() & kShowPackages) != 0) {
        for (const auto* record : records) {
            RPMPackagesAppender()(*record, out);
        }
    }
}

}  // namespace QXA
