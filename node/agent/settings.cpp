// Reads the agent's settings, and the node's EID in them.
#include "node/agent/settings.h"

#include <unistd.h>
#include <uuid/uuid.h>

#include <array>
#include <cerrno>
#include <map>

#include "QXL/QXLConfiguration.h"
#include "base/content.h"
#include "base/durable.h"
#include "layout/lock.h"
#include "node/support/toml_reader.h"

namespace QXL {

namespace {

constexpr std::size_t kMaxMachineId = 4096;

int logLevelOf(const qxnode::TomlTable& log, const std::string& name) {
    static const std::map<std::string, int> levels = {
        {"error", kLogError}, {"warning", kLogWarning}, {"info", kLogInfo}, {"debug", kLogDebug}};
    const auto found = levels.find(name);
    if (found == levels.end()) {
        throw log.fault("level",
                        "expected 'error', 'warning', 'info' or 'debug', found '" + name + "'");
    }
    return found->second;
}

void readInto(AgentSettings& settings, const std::string& path) {
    const auto file = qxnode::TomlTable::read(path);
    if (const auto text = file.text("eid")) {
        const QXLEID eid = QXLEID::fromString(*text);
        if (!eid.isValid() || eid == QXLEID::EID_LOCAL) {
            throw file.fault("eid", "'" + *text + "' is not a UUID");
        }
        settings.eid = eid;
    }
    if (const auto log = file.table("log")) {
        settings.logFile = log->text("file").value_or(settings.logFile);
        if (const auto level = log->text("level")) {
            settings.logLevel = logLevelOf(*log, *level);
        }
    }
}

std::string unparsed(const uuid_t& value) {
    std::array<char, UUID_STR_LEN> text{};
    uuid_unparse_lower(value, text.data());
    return text.data();
}

/// An EID that never changes on this machine, for nodes without a writable configuration.
QXLEID derivedEid() {
    std::string ignored;
    std::string machine = base::readFile("/etc/machine-id", kMaxMachineId, ignored).value_or("");
    if (machine.empty()) {
        std::array<char, 256> host{};
        gethostname(host.data(), host.size() - 1);
        machine = host.data();
    }
    // The machine's identifier is secret, but the EID is shown to others: use a hash.
    const uuid_t agentNamespace = {0x9d, 0x0e, 0x5a, 0x5c, 0x6b, 0x3a, 0x4d, 0x0b,
                                   0x8f, 0x41, 0x51, 0x58, 0x41, 0x4e, 0x4f, 0x44};
    uuid_t value;
    uuid_generate_sha1(value, agentNamespace, machine.data(), machine.size());
    return QXLEID::fromString(unparsed(value));
}

/// Writes a new EID at the start of the file: after a table's header it would belong to that table.
std::optional<QXLEID> createEid(const std::string& path) {
    std::string error;
    qxnode::FileLock lock;
    const auto locked =
        lock.acquire(path + ".lock", qxnode::LockWait::atMost(std::chrono::seconds(5)), error);
    if (locked != qxnode::FileLock::Result::acquired) {
        return std::nullopt;
    }
    const AgentSettings now = readAgentSettings(path);
    if (now.eid || !now.fault.empty()) {
        return now.eid;
    }
    uuid_t value;
    uuid_generate(value);
    const std::string text = unparsed(value);
    const std::string old = base::readFile(path, qxnode::TomlTable::kMaxBytes, error).value_or("");
    if (!base::replaceFile(path, "eid = \"" + text + "\"\n" + old, error)) {
        return std::nullopt;
    }
    return QXLEID::fromString(text);
}

QXLEID findLocalEid() {
    const AgentSettings settings = readAgentSettings();
    if (settings.eid) {
        return *settings.eid;
    }
    if (!settings.fault.empty()) {
        Log.put(kLogError, "%s; the node's EID is derived from the machine's identifier",
                settings.fault.c_str());
        return derivedEid();
    }
    if (access(qxnode::kAgentConfigDir, W_OK) == 0) {
        if (const auto created = createEid(qxnode::kAgentConfig)) {
            return *created;
        }
    }
    return derivedEid();
}

}  // namespace

AgentSettings readAgentSettings(const std::string& path) {
    AgentSettings settings;
    if (access(path.c_str(), F_OK) != 0 && errno == ENOENT) {
        return settings;
    }
    try {
        readInto(settings, path);
    } catch (const std::exception& failure) {
        settings.fault = failure.what();
    }
    return settings;
}

QXLEID QXLConfiguration::getLocalEID() {
    static const QXLEID eid = findLocalEid();
    return eid;
}

}  // namespace QXL
