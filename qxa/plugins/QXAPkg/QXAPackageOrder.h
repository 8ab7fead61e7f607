// Orders of packages and templates, and intersections of sorted ranges.
#pragma once

#include <string>

#include "QXA/QXATemplate.h"
#include "QXL/QXLPackage.h"

namespace QXA {

/// Orders package records by one text, then by another, byte by byte. It compares records and
/// shared pointers to records, in any combination, so that one object can sort and intersect lists
/// of both. Pointers must not be null.
template <std::string QXL::QXLPackage::*First, std::string QXL::QXLPackage::*Second>
struct PackageLessT {
    template <typename A, typename B>
    bool operator()(const A& a, const B& b) const {
        return less(record(a), record(b));
    }

private:
    static const QXL::QXLPackage& record(const QXL::QXLPackage& package) { return package; }
    static const QXL::QXLPackage& record(const QXL::QXLPackageSP& package) { return *package; }

    static bool less(const QXL::QXLPackage& a, const QXL::QXLPackage& b) {
        const int order = (a.*First).compare(b.*First);
        return order != 0 ? order < 0 : a.*Second < b.*Second;
    }
};

/// Name, then version.
using PackageLess = PackageLessT<&QXL::QXLPackage::name, &QXL::QXLPackage::version>;

/// Template order: name, then version.
inline bool templateLess(const QXATemplate& a, const QXATemplate& b) {
    const int order = a.name.compare(b.name);
    return order != 0 ? order < 0 : a.version < b.version;
}

/// The order for matching used templates: an empty version equals every version of the same name.
/// It is intentionally not a strict weak order if versions are mixed; see mergeIntersection.
inline bool templateUsageLess(const QXATemplate& a, const QXATemplate& b) {
    const int order = a.name.compare(b.name);
    if (order != 0) {
        return order < 0;
    }
    return !a.version.empty() && !b.version.empty() && a.version < b.version;
}

/// The intersection of two sorted ranges, with the elements of the first. std::set_intersection
/// does the same, but its behaviour is undefined for an order such as templateUsageLess.
template <typename FirstIterator, typename SecondIterator, typename Output, typename Less>
Output mergeIntersection(FirstIterator first, FirstIterator firstEnd, SecondIterator second,
                         SecondIterator secondEnd, Output out, Less less) {
    while (first != firstEnd && second != secondEnd) {
        if (less(*first, *second)) {
            ++first;
        } else if (less(*second, *first)) {
            ++second;
        } else {
            *out++ = *first++;
            ++second;
        }
    }
    return out;
}

}  // namespace QXA
