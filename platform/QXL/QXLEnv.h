// Environments: the node's containers as the agent's environment cache knows them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "QXL/Export.h"
#include "QXL/QXLEID.h"

namespace QXL {

/// Content of a container's configuration; the agent library defines it.
class QXLEnvConfigMessage;

/// A container's configuration, a value. Copies share the content, which never changes.
class QXL_API QXLEnvConfig {
public:
    static constexpr int kLocalKind = 1;  ///< configuration of an environment of this node

    /// A configuration without content.
    QXLEnvConfig() = default;

    /// @param message  the content; null for none.
    /// @param kind     kLocalKind.
    explicit QXLEnvConfig(std::shared_ptr<const QXLEnvConfigMessage> message, int kind = kLocalKind)
        : m_message(std::move(message)), m_kind(kind) {}

    /// Name of the OS template as configured, a leading "." kept; "" when there is none or when the
    /// configuration has no content.
    [[nodiscard]] std::string getOS() const;

    /// The content, which only the agent library can read; null if there is none.
    [[nodiscard]] const std::shared_ptr<const QXLEnvConfigMessage>& message() const {
        return m_message;
    }

    /// kLocalKind for every environment of this node.
    [[nodiscard]] int kind() const { return m_kind; }

private:
    std::shared_ptr<const QXLEnvConfigMessage> m_message;
    int m_kind = kLocalKind;
};

/// One environment: a copy of its record, which later changes do not affect.
class QXL_API QXLEnv {
public:
    /// The type of nodes, "node". The type of a container is the name of its virtualization
    /// technology ("meridane").
    static const std::string type;

    /// @param eid       the environment's identifier.
    /// @param parent    identifier of the node that it is on.
    /// @param typeName  "node", or the name of a virtualization technology.
    /// @param config    its configuration.
    QXLEnv(const QXLEID& eid, const QXLEID& parent, std::string typeName, QXLEnvConfig config)
        : m_eid(eid), m_parent(parent), m_type(std::move(typeName)), m_config(std::move(config)) {}
    QXLEnv(const QXLEnv&) = default;
    QXLEnv& operator=(const QXLEnv&) = default;
    virtual ~QXLEnv();

    /// The environment's identifier.
    [[nodiscard]] const QXLEID& getEID() const { return m_eid; }

    /// Identifier of the node that the environment is on.
    [[nodiscard]] const QXLEID& getParentEID() const { return m_parent; }

    /// "node", or the name of a virtualization technology.
    [[nodiscard]] const std::string& getType() const { return m_type; }

    /// Its configuration; the reference is valid as long as the environment.
    [[nodiscard]] virtual const QXLEnvConfig& getConfig() const;

private:
    QXLEID m_eid;
    QXLEID m_parent;
    std::string m_type;
    QXLEnvConfig m_config;
};

using QXLEnvList = std::vector<std::shared_ptr<const QXLEnv>>;

/// The agent's records of all environments. May be asked from any thread.
class QXL_API QXLEnvCache {
public:
    virtual ~QXLEnvCache();

    /// @return a copy of the environment's record; null if no environment has the EID.
    virtual std::shared_ptr<QXLEnv> getEnvCopy(const QXLEID& eid) = 0;

    /// @return all known environments; null if they cannot be listed.
    virtual std::shared_ptr<QXLEnvList> getEnvList() = 0;
};

/// The cache of this agent; null if the node has none.
QXL_API std::shared_ptr<QXLEnvCache> envCache();

}  // namespace QXL
