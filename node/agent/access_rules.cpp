// Reading and applying access rules; see access_rules.h.
#include "node/agent/access_rules.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <map>

#include "QXL/QXLAccessChecker.h"
#include "QXL/QXLLog.h"
#include "layout/paths.h"
#include "node/agent/accounts.h"

namespace QXL {

namespace {

template <typename Number>
std::optional<Number> numberIn(const std::string& text) {
    Number number{};
    const char* const end = text.data() + text.size();
    const auto [stop, failure] = std::from_chars(text.data(), end, number);
    if (text.empty() || failure != std::errc{} || stop != end) {
        return std::nullopt;
    }
    return number;
}

void refuseUnknownKeys(const qxnode::TomlTable& table, const std::set<std::string>& known) {
    for (const auto& key : table.keys()) {
        if (!known.contains(key)) {
            throw table.fault(key, "unknown key");
        }
    }
}

std::vector<std::string> neededList(const qxnode::TomlTable& table, const std::string& key) {
    auto list = table.textsOrIntegers(key);
    if (list.empty()) {
        throw table.fault(key, "missing or empty");
    }
    return list;
}

}  // namespace

void AccessRules::addRight(Grant& grant, const qxnode::TomlTable& table, const std::string& text) {
    static const std::map<std::string, int> names = {
        {"list-node-packages", kRightListNodePackages},
        {"manage-node-packages", kRightManageNodePackages},
        {"list-container-packages", kRightListContainerPackages},
        {"manage-container-packages", kRightManageContainerPackages}};
    const auto named = names.find(text);
    if (text == "all") {
        grant.allRights = true;
    } else if (named != names.end()) {
        grant.rights.insert(named->second);
    } else if (const auto number = numberIn<int>(text)) {
        grant.rights.insert(*number);
    } else {
        throw table.fault("rights", "unknown right '" + text + "'");
    }
}

void AccessRules::addTarget(Grant& grant, const qxnode::TomlTable& table, const std::string& text) {
    const QXLEID eid = QXLEID::fromString(text);
    if (text == "node") {
        grant.node = true;
    } else if (text == "containers") {
        grant.containers = true;
    } else if (const auto number = numberIn<int>(text)) {
        grant.veids.insert(*number);
    } else if (eid.isValid() && eid != QXLEID::EID_LOCAL) {
        grant.eids.insert(eid);
    } else {
        throw table.fault("on", "unknown target '" + text + "'");
    }
}

AccessRules::Grant AccessRules::parseGrant(const qxnode::TomlTable& table) {
    refuseUnknownKeys(table, {"users", "groups", "rights", "on"});
    Grant grant;
    const auto users = table.textsOrIntegers("users");
    const auto groups = table.textsOrIntegers("groups");
    if (users.empty() && groups.empty()) {
        throw table.fault("users", "a grant needs users or groups");
    }
    // An unknown name is not an error, because the account may be made later; it matches nobody.
    for (const auto& text : users) {
        const auto number = numberIn<uid_t>(text);
        if (const auto uid = number ? number : userNamed(text)) {
            grant.users.insert(*uid);
        }
    }
    for (const auto& text : groups) {
        const auto number = numberIn<gid_t>(text);
        if (const auto gid = number ? number : groupNamed(text)) {
            grant.groups.insert(*gid);
        }
    }
    for (const auto& text : neededList(table, "rights")) {
        addRight(grant, table, text);
    }
    for (const auto& text : neededList(table, "on")) {
        addTarget(grant, table, text);
    }
    return grant;
}

AccessRules AccessRules::parse(const qxnode::TomlTable& file) {
    refuseUnknownKeys(file, {"grant"});
    AccessRules rules;
    for (const auto& table : file.tables("grant")) {
        rules.m_grants.push_back(parseGrant(table));
    }
    return rules;
}

AccessRules AccessRules::load() {
    if (access(qxnode::kAccessConfig, F_OK) != 0 && errno == ENOENT) {
        return {};
    }
    try {
        return parse(qxnode::TomlTable::read(qxnode::kAccessConfig));
    } catch (const std::exception& failure) {
        Log.put(kLogError, "all access rules are ignored: %s", failure.what());
        return {};
    }
}

bool AccessRules::Grant::isFor(const Caller& caller) const {
    return users.contains(caller.uid) ||
           std::any_of(caller.groups.begin(), caller.groups.end(),
                       [this](gid_t group) { return groups.contains(group); });
}

bool AccessRules::Grant::covers(const AccessTarget& target) const {
    if (target.node) {
        return node;
    }
    return containers || eids.contains(target.eid) || (target.veid && veids.contains(*target.veid));
}

bool AccessRules::allows(const Caller& caller, const AccessTarget& target, int right) const {
    if (caller.ownsNode) {
        return true;
    }
    return std::any_of(m_grants.begin(), m_grants.end(), [&](const Grant& grant) {
        return grant.isFor(caller) && grant.covers(target) &&
               (grant.allRights || grant.rights.contains(right));
    });
}

}  // namespace QXL
