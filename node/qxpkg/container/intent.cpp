// See intent.h.
#include "node/qxpkg/container/intent.h"

#include <unistd.h>

#include <cerrno>
#include <sstream>

#include "base/content.h"
#include "base/durable.h"
#include "node/qxpkg/failure.h"

namespace qxpkg {

namespace {

constexpr std::size_t kMaxRecord = std::size_t{64} << 20;

std::string recordPath(const Place& place) {
    return place.store + "/intent";
}

}  // namespace

void writeIntent(const Place& place, const PackageList& installed) {
    std::string text;
    for (const Package& package : installed) {
        text += package.name + "\t" + package.architecture + "\t" + package.version + "\n";
    }
    std::string error;
    if (!base::replaceFile(recordPath(place), text, error)) {
        throw Failure(error);
    }
}

std::optional<PackageList> readIntent(const Place& place) {
    std::string error;
    const auto text = base::readFile(recordPath(place), kMaxRecord, error);
    if (!text && errno != ENOENT) {
        throw Failure(error);
    }
    if (!text) {
        return std::nullopt;
    }
    std::istringstream lines(*text);
    PackageList installed;
    Package package;
    while (std::getline(lines, package.name, '\t') &&
           std::getline(lines, package.architecture, '\t') &&
           std::getline(lines, package.version)) {
        installed.push_back(package);
    }
    sortPackages(installed);
    return installed;
}

void clearIntent(const Place& place) {
    unlink(recordPath(place).c_str());
}

}  // namespace qxpkg
