// QXALibFunctionality: the agent's functionality kit, one multiplexer per functionality.
#pragma once

#include <memory>

#include "QXL/Export.h"
#include "QXL/QXLFunctionalMultiplexer.h"
#include "QXL/QXLFunctionality.h"

namespace QXA {

class QXATEM;
class QXAEnvM;
class QXAPkgM;
class QXAProcessM;
class QXANetworkM;
class QXAProcessMonitor;
class QXAUp2date;
class QXASupport;
class QXASampleM;

/// The name of this node's virtualization technology: the key of its factories and the type of its
/// containers.
inline constexpr const char* kTechnologyName = "meridane";

/// Plug-ins register their factories here, and the agent finds them here. Each getter returns the
/// one multiplexer of its functionality; the reference is valid as long as the kit. All libraries
/// of the process share this layout, so the order of the multiplexers must not change.
class QXALibFunctionality {
public:
    /// Factories of objects that implement `Interface`, by technology.
    template <typename Interface>
    using Multiplexer = QXL::QXLFunctionalMultiplexer<std::shared_ptr<Interface>>;

    Multiplexer<QXATEM>& getQXATEMMultiplexer() { return m_tem; }
    Multiplexer<QXAEnvM>& getQXAEnvMMultiplexer() { return m_envM; }
    Multiplexer<QXAPkgM>& getQXAPkgMMultiplexer() { return m_pkgM; }
    Multiplexer<QXAProcessM>& getQXAProcessMMultiplexer() { return m_processM; }
    Multiplexer<QXANetworkM>& getQXANetworkMMultiplexer() { return m_networkM; }
    Multiplexer<QXAProcessMonitor>& getQXAProcessMonitorMultiplexer() { return m_processMonitor; }
    Multiplexer<QXAUp2date>& getQXAUp2dateMultiplexer() { return m_up2date; }
    Multiplexer<QXASupport>& getQXASupportMultiplexer() { return m_support; }
    Multiplexer<QXASampleM>& getQXASampleMMultiplexer() { return m_sampleM; }

private:
    Multiplexer<QXATEM> m_tem;
    Multiplexer<QXAEnvM> m_envM;
    Multiplexer<QXAPkgM> m_pkgM;
    Multiplexer<QXAProcessM> m_processM;
    Multiplexer<QXANetworkM> m_networkM;
    Multiplexer<QXAProcessMonitor> m_processMonitor;
    Multiplexer<QXAUp2date> m_up2date;
    Multiplexer<QXASupport> m_support;
    Multiplexer<QXASampleM> m_sampleM;
};

}  // namespace QXA

namespace QXL {

template <>
QXL_API QXA::QXALibFunctionality& QXLFunctionality<QXA::QXALibFunctionality>::kit();

}  // namespace QXL
