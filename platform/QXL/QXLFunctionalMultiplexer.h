// QXLFunctionalMultiplexer: the factories of one functionality, by virtualization technology.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "QXL/QXLFunctionalFactory.h"

namespace QXL {

/// Holds the factories that plug-ins registered. It has no lock: call it from one thread at a time.
template <typename Pointer>
class QXLFunctionalMultiplexer {
public:
    using LocalFactory = std::shared_ptr<QXLFunctionalFactoryLocal<Pointer>>;

    /// Registers `factory` under `key`, the name of a virtualization technology. @return 0; -1 if
    /// the key is taken: the registered factory then stays.
    int registerLocalFactory(LocalFactory factory, const std::string& key) {
        return m_local.try_emplace(key, std::move(factory)).second ? 0 : -1;
    }

    /// Removes the factory registered under `key`, whoever registered it; an unknown key is no
    /// error.
    void unregisterLocalFactory(const std::string& key) { m_local.erase(key); }

    /// For the agent. @return the factory registered under `key`; null if there is none.
    [[nodiscard]] LocalFactory findLocalFactory(const std::string& key) const {
        const auto found = m_local.find(key);
        return found == m_local.end() ? nullptr : found->second;
    }

private:
    std::map<std::string, LocalFactory> m_local;
    // An agent that manages other nodes keeps their factories here. Plug-ins never use these two
    // members, but all libraries of the process must agree on the layout.
    std::map<std::string, std::shared_ptr<void>> m_remote;
    std::map<std::string, std::shared_ptr<void>> m_group;
};

}  // namespace QXL
