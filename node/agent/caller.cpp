// Who runs this process; see caller.h.
#include "node/agent/caller.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <functional>

#include "layout/paths.h"
#include "node/agent/accounts.h"

namespace QXL {

namespace {

struct Mapping {
    std::uint64_t inside = 0;
    std::uint64_t outside = 0;
    std::uint64_t length = 0;

    [[nodiscard]] bool isIdentity() const { return inside == outside; }
};

std::vector<Mapping> mappings(const char* path) {
    std::ifstream file(path);
    std::vector<Mapping> all;
    Mapping one;
    while (file >> one.inside >> one.outside >> one.length) {
        all.push_back(one);
    }
    return all;
}

std::uint64_t outside(const std::vector<Mapping>& map, std::uint64_t id) {
    for (const Mapping& one : map) {
        if (id >= one.inside && id - one.inside < one.length) {
            return one.outside + (id - one.inside);
        }
    }
    return id;
}

std::vector<gid_t> processGroups() {
    std::vector<gid_t> groups(static_cast<std::size_t>(std::max(getgroups(0, nullptr), 0)));
    const int count = getgroups(static_cast<int>(groups.size()), groups.data());
    groups.resize(static_cast<std::size_t>(std::max(count, 0)));
    groups.push_back(getgid());
    return groups;
}

/// True in the machine's own user namespace, where root is the machine's root.
bool isInitialNamespace(const std::vector<Mapping>& users) {
    constexpr std::uint64_t everybody = 4294967295;
    return users.size() == 1 && users[0].inside == 0 && users[0].isIdentity() &&
           users[0].length == everybody;
}

/// True if the node's files belong to the user that this process sees as root.
bool isNodeOfRoot() {
    struct stat state {};
    return stat(qxnode::kStateDir, &state) == 0 && state.st_uid == 0;
}

}  // namespace

Caller Caller::ofProcess() {
    constexpr uid_t nobody = 65534;
    const auto users = mappings("/proc/self/uid_map");
    const uid_t uid = getuid();
    const bool ownsNode = uid == 0 && (isInitialNamespace(users) || isNodeOfRoot());
    if (users.empty()) {
        // Without the map it is unknown which user a number means.
        return {nobody, {}, ownsNode};
    }
    if (std::all_of(users.begin(), users.end(), std::mem_fn(&Mapping::isIdentity))) {
        return {uid, processGroups(), ownsNode};
    }
    // In a user namespace all groups but one appear as "nobody".
    const auto user = static_cast<uid_t>(outside(users, uid));
    return {user, groupsOfUser(user), ownsNode};
}

}  // namespace QXL
