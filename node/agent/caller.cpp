// Who runs this process; see caller.h.
#include "node/agent/caller.h"

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <fstream>

#include "node/support/paths.h"

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

/// Groups of a user by the system's tables: a user namespace shows all but one as "nobody".
std::vector<gid_t> groupsOfUser(uid_t uid) {
    const passwd* entry = getpwuid(uid);
    if (entry == nullptr) {
        return {};
    }
    constexpr int most = 1024;
    std::vector<gid_t> groups(most);
    int count = most;
    if (getgrouplist(entry->pw_name, entry->pw_gid, groups.data(), &count) < 0) {
        return {};
    }
    groups.resize(static_cast<std::size_t>(count));
    return groups;
}

}  // namespace

Caller Caller::ofProcess() {
    const auto users = mappings("/proc/self/uid_map");
    const bool mapped = std::any_of(users.begin(), users.end(),
                                    [](const Mapping& one) { return !one.isIdentity(); });
    const uid_t uid = getuid();
    if (!mapped) {
        return {uid, processGroups(), uid == 0};
    }
    struct stat node {};
    const bool ownNode = uid == 0 && stat(qxnode::kStateDir, &node) == 0 && node.st_uid == 0;
    const auto user = static_cast<uid_t>(outside(users, uid));
    return {user, groupsOfUser(user), ownNode};
}

}  // namespace QXL
