// Orders of packages and templates, and the intersection that is made under them.
#pragma once

#include <string>

#include "QXA/QXATemplate.h"
#include "QXL/QXLPackage.h"

namespace QXA {

/// Orders package records by one text, then by another, byte-wise. Takes records and shared
/// pointers to records in any pairing, so that one instance sorts both and intersects one with the
/// other. Pointers are not null.
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

/// Usage match order: an empty version is equivalent to every version of the same name. On purpose
/// no strict weak order over mixed versions; see mergeIntersection.
inline bool templateUsageLess(const QXATemplate& a, const QXATemplate& b) {
    const int order = a.name.compare(b.name);
    if (order != 0) {
        return order < 0;
    }
    return !a.version.empty() && !b.version.empty() && a.version < b.version;
}

/// The merge-style intersection of two sorted ranges, elements taken from the first. The library's
/// set_intersection does the same, but is undefined for an order that is not strict and weak, and
/// the usage match order is not.
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
