// Entry points with which the agent registers and unregisters this plug-in.
#include <memory>

#include "QXA/QXALibFunctionality.h"
#include "QXA/QXAPkgM.h"
#include "QXL/QXLFunctionalFactory.h"
#include "qxa/plugins/QXAPkg/QXAPkgMLocal.h"

namespace {

using Kit = QXL::QXLFunctionality<QXA::QXALibFunctionality>;
using Factory = QXL::QXLFunctionalFactoryLocalImpl<QXA::QXAPkgM, QXA::QXAPkgMLocal>;

// Stays true after unregistering: the plug-in registers only once per load.
bool registered = false;

}  // namespace

extern "C" {

/// Registers the package-manager factory. If the key has a factory already, that one stays.
/// @return 0.
QXL_API int initQXAPkgMLocal() {
    if (registered) {
        return 0;
    }
    Kit::kit().getQXAPkgMMultiplexer().registerLocalFactory(std::make_shared<Factory>(),
                                                            QXA::kTechnologyName);
    registered = true;
    return 0;
}

/// Unregisters the factory under the key, whoever registered it. @return 0.
QXL_API int finiQXAPkgMLocal() {
    Kit::kit().getQXAPkgMMultiplexer().unregisterLocalFactory(QXA::kTechnologyName);
    return 0;
}
}
