// Looks up accounts of the machine. Thread-safe, because unknown programs load the agent library.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace QXL {

/// Number of the user with this name; nullopt if there is none or it cannot be found out.
std::optional<uid_t> userNamed(const std::string& name);

/// Number of the group with this name; nullopt if there is none or it cannot be found out.
std::optional<gid_t> groupNamed(const std::string& name);

/// Groups of a user in the system's tables; empty for an unknown user.
std::vector<gid_t> groupsOfUser(uid_t user);

}  // namespace QXL
