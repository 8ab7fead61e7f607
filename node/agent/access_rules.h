// AccessRules: who may do what on the node and in its containers, from /etc/qxagent/access.toml.
//
//   [[grant]]
//   users = ["alice", 1000]       user names and numbers
//   groups = ["operators"]        group names and numbers
//   rights = ["list-node-packages", 57]
//   on = ["node", 101, "b5b35e5c-8a3b-4a3e-9a53-0d4b4f8e4a11"]
//
// A grant gives each of its users, and the members of each of its groups, each of its rights on
// each of its targets. Targets: "node", "containers" (all of them), a container's number, a
// container's EID. Rights, by name or number:
//
//   list-node-packages         130   list and describe packages of the node
//   manage-node-packages       131   install, remove, update, fetch, clean on the node
//   list-container-packages     56   list and describe packages of a container
//   manage-container-packages   57   install, remove, update packages in a container
//   all                              every right
//
// Root may do everything; anybody else only what a grant allows. There are no denials. A file with
// an error (such as an unknown key, right or target) grants nothing to anybody, because a part of
// the rules may allow more than all of them. Every user with a grant must be able to read the file.
#pragma once

#include <sys/types.h>

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "QXL/QXLEID.h"
#include "node/agent/caller.h"
#include "node/support/toml_reader.h"

namespace QXL {

/// The target of an access check.
struct AccessTarget {
    bool node = false;
    QXLEID eid;               ///< of the container
    std::optional<int> veid;  ///< its number, if known
};

class AccessRules {
public:
    /// Without grants.
    AccessRules() = default;

    /// @throws qxnode::Failure naming file, line and key of the first mistake.
    static AccessRules parse(const qxnode::TomlTable& file);

    /// The rules of the node. A missing file grants nothing; nor does a file with an error, which
    /// is logged.
    static AccessRules load();

    [[nodiscard]] bool allows(const Caller& caller, const AccessTarget& target, int right) const;

private:
    struct Grant {
        std::set<uid_t> users;
        std::set<gid_t> groups;
        bool allRights = false;
        std::set<int> rights;
        bool node = false;
        bool containers = false;
        std::set<int> veids;
        std::set<QXLEID> eids;

        [[nodiscard]] bool isFor(const Caller& caller) const;
        [[nodiscard]] bool covers(const AccessTarget& target) const;
    };

    static Grant parseGrant(const qxnode::TomlTable& table);
    static void addRight(Grant& grant, const qxnode::TomlTable& table, const std::string& text);
    static void addTarget(Grant& grant, const qxnode::TomlTable& table, const std::string& text);

    std::vector<Grant> m_grants;
};

}  // namespace QXL
