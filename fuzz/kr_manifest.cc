// Metadata of KR templates: any text is read or refused with its place, and what is read keeps the
// rules that engines' command lines and paths rely on.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "node/kr/manifest.h"

namespace {

using qxnode::KrManifest;
using qxnode::KrRepository;

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

bool isPlainWord(const std::string& word) {
    return !word.starts_with('-') && word.find_first_of(" \t\r\n[]\"") == std::string::npos;
}

bool isSound(const KrRepository& repository) {
    const bool keyStays = repository.key.find('/') == std::string::npos && repository.key != "..";
    return keyStays && isPlainWord(repository.url) && isPlainWord(repository.suite) &&
           (repository.sources.empty() != repository.url.empty());
}

void check(const KrManifest& manifest) {
    require(qxnode::isKrName(manifest.name) && manifest.name.starts_with('.'));
    require(manifest.isOsTemplate == manifest.osName.empty());
    require(manifest.name.find('/') == std::string::npos);
    require(std::all_of(manifest.repositories.begin(), manifest.repositories.end(), isSound));
    for (const std::string& name : manifest.allPackages()) {
        require(!name.empty() && isPlainWord(name) && name.find('/') == std::string::npos);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        check(qxnode::parseKrManifest({reinterpret_cast<const char*>(data), size}, "input"));
    } catch (const qxnode::Failure& error) {
        require(std::string_view(error.what()).starts_with("input"));
    }
    return 0;
}
