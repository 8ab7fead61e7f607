// Lines that package engines print: lists of packages, plans and reports. A package's own scripts
// write into the same streams, so any line may be anything.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "node/qxpkg/engine/deb/engine.h"
#include "node/qxpkg/engine/deb/report.h"
#include "node/qxpkg/engine/rpm/engine.h"
#include "node/qxpkg/engine/rpm/report.h"

namespace {

void require(bool holds) {
    if (!holds) {
        abort();
    }
}

void readAsPackage(const std::string& line) {
    qxpkg::Package package;
    if (qxpkg::readDpkgState(line, package)) {
        require(!package.removing || !package.broken);
        require(!qxpkg::isHalfPurged(line));
    }
    if (qxpkg::parseAptPlanLine(line, package)) {
        require(!package.name.empty() && line.find(package.name) != std::string::npos);
    }
    for (const qxpkg::EngineKind& kind : qxpkg::engineKinds()) {
        require(kind.packageOfFile(line).size() <= line.size());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::istringstream lines(std::string(reinterpret_cast<const char*>(data), size));
    qxpkg::DebReport deb;
    qxpkg::RpmReport rpm;
    qxpkg::DnfPlan plan;
    std::string line;
    while (std::getline(lines, line)) {
        readAsPackage(line);
        deb.line(line);
        rpm.line(line);
        plan.line(line);
    }
    require(rpm.scriptFailed() == !rpm.failedPackages().empty());
    require(!rpm.scriptFailed() || !rpm.reason().empty());
    (void)deb.reason();
    for (const qxpkg::Package& package : plan.packages()) {
        require(!package.name.empty() && !package.version.empty());
    }
    return 0;
}
