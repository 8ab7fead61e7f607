// See engine.h.
#include "node/qxpkg/engine/engine.h"

#include "node/qxpkg/engine/deb_engine.h"
#include "node/qxpkg/engine/rpm_engine.h"

namespace qxpkg {

namespace {

const char* verbOf(Action action) {
    switch (action) {
        case Action::install:
            return "install";
        case Action::update:
            return "update";
        case Action::remove:
            return "remove";
    }
    return "";
}

}  // namespace

std::string attemptText(Action action, const std::vector<std::string>& names) {
    return "cannot " + std::string(verbOf(action)) + " " +
           (names.empty() ? "the container's packages" : enumeration(names));
}

std::unique_ptr<Engine> makeEngine(const Place& place, const Options& options,
                                   const Output& output) {
    if (place.packaging == qxnode::KrPackaging::rpm) {
        return std::make_unique<RpmEngine>(place, options, output);
    }
    return std::make_unique<DebEngine>(place, options, output);
}

}  // namespace qxpkg
