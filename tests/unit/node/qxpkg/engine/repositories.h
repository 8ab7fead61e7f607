// Repositories of places, as templates name them.
#pragma once

#include <string>

#include "node/kr/manifest.h"

namespace qxpkg_test {

/// A folder of the host whose packages need no signature.
inline qxnode::KrRepository folderRepository(const std::string& path) {
    qxnode::KrRepository repository;
    repository.url = "copy:" + path;
    repository.suite = "./";
    repository.trusted = true;
    return repository;
}

}  // namespace qxpkg_test
