// All fixed paths of a reference node.
#pragma once

#include <string>

namespace qxnode {

inline constexpr const char* kContainerConfigDir = "/etc/sysconfig/qx-scripts";
inline constexpr const char* kContainerConfigSuffix = ".conf";

inline constexpr const char* kAgentConfigDir = "/etc/qxagent";
inline constexpr const char* kAgentConfig = "/etc/qxagent/agent.toml";
inline constexpr const char* kAccessConfig = "/etc/qxagent/access.toml";

inline constexpr const char* kStateDir = "/var/lib/qxagent";
inline constexpr const char* kAgentLog = "/var/lib/qxagent/agent.log";
inline constexpr const char* kJournal = "/var/lib/qxagent/journal.sqlite";
inline constexpr const char* kPackageMonitor = "/var/lib/qxagent/pkgmonitor.sqlite";
inline constexpr const char* kListenerDir = "/var/lib/qxagent/listeners";

inline constexpr const char* kNodeDir = "/qx";
inline constexpr const char* kPrivateDir = "/qx/private";
inline constexpr const char* kTemplateDir = "/qx/template";
inline constexpr const char* kKrTemplateDir = "/qx/template/kr";
inline constexpr const char* kTemplateCacheDir = "/qx/template/vc";

/// Default private area of a container; "$VEID" is replaced by the container's number.
inline constexpr const char* kDefaultPrivateArea = "/qx/private/$VEID";

/// Lock of the node's templates.
inline constexpr const char* kTemplateLock = "/qx/template/.lock";

inline std::string containerConfigPath(int veid, const std::string& folder = kContainerConfigDir) {
    return folder + "/" + std::to_string(veid) + kContainerConfigSuffix;
}

/// Below a private area: what standard templates put into it is remembered here.
inline constexpr const char* kAreaState = ".qxtemplates";
/// The directories that a change of templates took indexes from; it is there only while a change is
/// at work, or after one was interrupted.
inline constexpr const char* kPlainRecord = "plain";
inline constexpr const char* kInterruptedChange = ".qxtemplates/plain";

/// Lock of a container. The configuration itself cannot be locked, because a change replaces the
/// file.
inline std::string containerLockPath(int veid) {
    return std::string(kContainerConfigDir) + "/." + std::to_string(veid) + ".lock";
}

}  // namespace qxnode
