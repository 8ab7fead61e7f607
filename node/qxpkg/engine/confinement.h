// The sandbox that every package engine runs in.
#pragma once

#include <string>
#include <vector>

namespace qxpkg {

/// What an engine sees and may change. A container's owner may have planted links in its root, and
/// an engine's own root option follows them; so the sandbox holds nothing but the host's programs
/// and libraries (read-only) and what is bound here. Its processes, message queues, host name,
/// /proc and /dev are its own, it cannot mount, make or open devices, and a package script that
/// breaks out of the container's root finds nothing more than the engine.
struct Confinement {
    struct Bind {
        std::string from;  ///< absolute path on the host
        std::string to;    ///< where it appears; no link may stand in its way
        bool writable = false;
    };

    std::vector<Bind> binds;                ///< in order, later ones over earlier ones
    std::string root;                       ///< a bound tree that gets /proc and /dev; "" for none
    std::vector<std::string> environment;   ///< NAME=value, over the few that every engine gets
    std::vector<std::string> capabilities;  ///< beyond those that unpacking and scripts need
    bool network = false;                   ///< may use the host's network
};

/// The command line that runs `argv` so.
std::vector<std::string> confinedCommand(const Confinement& confinement,
                                         const std::vector<std::string>& argv);

}  // namespace qxpkg
