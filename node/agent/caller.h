// Caller: the user behind the requests of this process.
#pragma once

#include <sys/types.h>

#include <vector>

namespace QXL {

struct Caller {
    uid_t uid = 0;
    std::vector<gid_t> groups;
    bool ownsNode = false;  ///< root of this node

    /// The process's real user and its groups. In a user namespace (an entered node directory) it
    /// is the user outside, who owns the node only when the node's files are theirs: being root of
    /// a namespace of one's own gives no right on the node of somebody else.
    static Caller ofProcess();
};

}  // namespace QXL
