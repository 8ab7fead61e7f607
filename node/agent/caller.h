// Caller: the user who makes the requests of this process.
#pragma once

#include <sys/types.h>

#include <vector>

namespace QXL {

struct Caller {
    uid_t uid = 0;
    std::vector<gid_t> groups;
    bool ownsNode = false;  ///< root of this node

    /// The process's real user and its groups. In a user namespace (an entered node directory) it
    /// is the user outside of it. This user owns the node only if the node's files are theirs: root
    /// of a user's own namespace must have no rights on somebody else's node.
    static Caller ofProcess();
};

}  // namespace QXL
