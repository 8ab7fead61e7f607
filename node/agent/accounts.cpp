// Accounts of the machine; see accounts.h.
#include "node/agent/accounts.h"

#include <grp.h>
#include <pwd.h>

#include <cerrno>

namespace QXL {

namespace {

/// Calls one of the reentrant look-up functions with a buffer that is large enough.
/// @return the result of `use` for the record; a default value if there is no record.
template <typename Record, typename LookUp, typename Use>
auto lookedUp(const LookUp& lookUp, const Use& use) -> decltype(use(Record{})) {
    constexpr std::size_t leastRoom = 4096;
    constexpr std::size_t mostRoom = std::size_t{1} << 20;
    for (std::vector<char> room(leastRoom); room.size() <= mostRoom; room.resize(room.size() * 2)) {
        Record record{};
        Record* found = nullptr;
        const int failure = lookUp(&record, room.data(), room.size(), &found);
        if (failure != ERANGE) {
            return failure == 0 && found != nullptr ? use(record) : decltype(use(record)){};
        }
    }
    return {};
}

}  // namespace

std::optional<uid_t> userNamed(const std::string& name) {
    return lookedUp<passwd>([&](auto... rest) { return getpwnam_r(name.c_str(), rest...); },
                            [](const passwd& entry) { return std::optional<uid_t>(entry.pw_uid); });
}

std::optional<gid_t> groupNamed(const std::string& name) {
    return lookedUp<group>([&](auto... rest) { return getgrnam_r(name.c_str(), rest...); },
                           [](const group& entry) { return std::optional<gid_t>(entry.gr_gid); });
}

std::vector<gid_t> groupsOfUser(uid_t user) {
    return lookedUp<passwd>([&](auto... rest) { return getpwuid_r(user, rest...); },
                            [](const passwd& entry) {
                                constexpr int most = 1024;
                                std::vector<gid_t> groups(most);
                                int count = most;
                                const bool all = getgrouplist(entry.pw_name, entry.pw_gid,
                                                              groups.data(), &count) >= 0;
                                groups.resize(all ? static_cast<std::size_t>(count) : 0);
                                return groups;
                            });
}

}  // namespace QXL
