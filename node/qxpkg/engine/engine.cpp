// See engine.h.
#include "node/qxpkg/engine/engine.h"

#include "node/qxpkg/engine/deb/engine.h"
#include "node/qxpkg/engine/rpm/engine.h"
#include "node/qxpkg/failure.h"

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

std::vector<EngineKind>& engineKinds() {
    static std::vector<EngineKind> all{debEngineKind(), rpmEngineKind()};
    return all;
}

const EngineKind& engineKindOf(const qxnode::Packaging* packaging) {
    for (const EngineKind& kind : engineKinds()) {
        if (kind.packaging == packaging) {
            return kind;
        }
    }
    throw Failure("no engine changes packages of '" +
                  std::string(packaging == nullptr ? "" : packaging->name) + "'");
}

std::unique_ptr<Engine> makeEngine(const Place& place, const Options& options,
                                   const Output& output) {
    return engineKindOf(place.packaging).make(place, options, output);
}

}  // namespace qxpkg
