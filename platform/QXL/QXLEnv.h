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

/// A container's configuration, by value; copies share the content, which never changes.
class QXL_API QXLEnvConfig {
public:
    static constexpr int kLocalKind = 1;  ///< configuration of an environment of this node

    /// Without content.
    QXLEnvConfig() = default;

    /// @param message  the content, may be null.
    explicit QXLEnvConfig(std::shared_ptr<const QXLEnvConfigMessage> message, int kind = kLocalKind)
        : m_message(std::move(message)), m_kind(kind) {}

    /// Name of the OS template as configured, a leading "." kept; "" when there is none or when the
    /// configuration has no content.
    [[nodiscard]] std::string getOS() const;

    /// The content, for the agent library; null without any.
    [[nodiscard]] const std::shared_ptr<const QXLEnvConfigMessage>& message() const {
        return m_message;
    }

    /// kLocalKind for every environment of this node.
    [[nodiscard]] int kind() const { return m_kind; }

private:
    std::shared_ptr<const QXLEnvConfigMessage> m_message;
    int m_kind = kLocalKind;
};

/// One environment as it was when the cache was asked.
class QXL_API QXLEnv {
public:
    /// Type of a plain environment, that is of a node. Containers have the name of their
    /// virtualization technology as type ("meridane").
    static const std::string type;

    /// @param eid       of the environment itself.
    /// @param parent    the node that it lives on.
    /// @param typeName  "node", or the name of a virtualization technology.
    QXLEnv(const QXLEID& eid, const QXLEID& parent, std::string typeName, QXLEnvConfig config)
        : m_eid(eid), m_parent(parent), m_type(std::move(typeName)), m_config(std::move(config)) {}
    QXLEnv(const QXLEnv&) = default;
    QXLEnv& operator=(const QXLEnv&) = default;
    virtual ~QXLEnv();

    [[nodiscard]] const QXLEID& getEID() const { return m_eid; }

    /// The node that the environment lives on.
    [[nodiscard]] const QXLEID& getParentEID() const { return m_parent; }

    /// As `type` says.
    [[nodiscard]] const std::string& getType() const { return m_type; }

    /// Borrowed for the life of the environment.
    [[nodiscard]] virtual const QXLEnvConfig& getConfig() const;

private:
    QXLEID m_eid;
    QXLEID m_parent;
    std::string m_type;
    QXLEnvConfig m_config;
};

using QXLEnvList = std::vector<std::shared_ptr<const QXLEnv>>;

/// The agent's view of all environments.
class QXL_API QXLEnvCache {
public:
    virtual ~QXLEnvCache();

    /// @return a copy of the environment's record, null when the EID is not known.
    virtual std::shared_ptr<QXLEnv> getEnvCopy(const QXLEID& eid) = 0;

    /// @return every known environment, null when the list cannot be had.
    virtual std::shared_ptr<QXLEnvList> getEnvList() = 0;
};

/// The cache of this agent; null when there is none.
QXL_API std::shared_ptr<QXLEnvCache> envCache();

}  // namespace QXL
