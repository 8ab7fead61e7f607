// QXLFunctionalMultiplexer: the factories of one functionality, by virtualization technology.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "QXL/QXLFunctionalFactory.h"

namespace QXL {

/// Keeps what plug-ins registered. Used by the agent's plug-in loading code, one call at a time.
template <typename Pointer>
class QXLFunctionalMultiplexer {
public:
    using LocalFactory = std::shared_ptr<QXLFunctionalFactoryLocal<Pointer>>;

    /// Offers `factory` under `key`. @return 0 when the key was new, -1 when it was taken; the
    /// registered factory then stays.
    int registerLocalFactory(LocalFactory factory, const std::string& key) {
        return m_local.try_emplace(key, std::move(factory)).second ? 0 : -1;
    }

    /// Withdraws whatever lies under `key`; an absent key is no error.
    void unregisterLocalFactory(const std::string& key) { m_local.erase(key); }

    /// The agent's look-up. @return the factory under `key`, null when there is none.
    [[nodiscard]] LocalFactory findLocalFactory(const std::string& key) const {
        const auto found = m_local.find(key);
        return found == m_local.end() ? nullptr : found->second;
    }

private:
    std::map<std::string, LocalFactory> m_local;
    // An agent that manages other nodes keeps their factories here; plug-ins never see them, but
    // the members belong to the layout that all libraries of the process share.
    std::map<std::string, std::shared_ptr<void>> m_remote;
    std::map<std::string, std::shared_ptr<void>> m_group;
};

}  // namespace QXL
