// Lists of package files, which either technology may be handed.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "node/support/failure.h"

namespace QXA::tem {

/// Reads every package of a list. One of another kind anywhere in it counts before any damage,
/// since the whole list may then be offered to the other technology.
/// @param otherKind  code of the Failure that says so.
/// @param read       gives the package of a path, or throws Failure.
/// @throws Failure the first one, or that of the first package of another kind.
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
