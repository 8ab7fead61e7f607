// Accounts of the machine, looked up so that several requests may do so at once: the agent library
// lives in processes that it knows nothing of.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace QXL {

/// Number of the user with this name; nullopt when the system knows none, or cannot say.
std::optional<uid_t> userNamed(const std::string& name);

/// Number of the group with this name; nullopt when the system knows none, or cannot say.
std::optional<gid_t> groupNamed(const std::string& name);

/// Groups of a user by the system's tables; empty for a user that they do not hold.
std::vector<gid_t> groupsOfUser(uid_t user);

}  // namespace QXL
