// Reads lists of package files, for both technologies.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "node/support/failure.h"

namespace QXA::tem {

/// Reads every package of a list. If one of them is of another technology, this is reported and not
/// a damage of other packages, because the other technology can then be asked with the whole list.
/// @param otherKind  the code of a Failure for a package of another technology.
/// @param read       reads the package at a path, or throws Failure.
/// @throws Failure of the first package of another technology, otherwise the first one.
template <typename Read>
auto readPackageList(const std::vector<std::string>& paths, int otherKind, const Read& read) {
    std::vector<decltype(read(paths.front()))> packages;
    packages.reserve(paths.size());
    std::optional<qxnode::Failure> first;
    for (const std::string& path : paths) {
        try {
            packages.push_back(read(path));
        } catch (const qxnode::Failure& failure) {
            if (failure.code() == otherKind) {
                throw;
            }
            if (!first) {
                first = failure;
            }
        }
    }
    if (first) {
        throw qxnode::Failure(*first);
    }
    return packages;
}

}  // namespace QXA::tem
