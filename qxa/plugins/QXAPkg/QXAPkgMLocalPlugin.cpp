// Entry points by which the agent registers and withdraws this plug-in.
#include <memory>

#include "QXA/QXALibFunctionality.h"
#include "QXA/QXAPkgM.h"
#include "QXL/QXLFunctionalFactory.h"
#include "qxa/plugins/QXAPkg/QXAPkgMLocal.h"

namespace {

using Kit = QXL::QXLFunctionality<QXA::QXALibFunctionality>;
using Factory = QXL::QXLFunctionalFactoryLocalImpl<QXA::QXAPkgM, QXA::QXAPkgMLocal>;

// Stays set after the plug-in was withdrawn: it registers once per load.
bool registered = false;

}  // namespace

extern "C" {

/// Registers the package-manager factory. Another factory that holds the key already stays.
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

/// Withdraws whatever factory lies under the key. @return 0.
QXL_API int finiQXAPkgMLocal() {
    Kit::kit().getQXAPkgMMultiplexer().unregisterLocalFactory(QXA::kTechnologyName);
    return 0;
}
}
