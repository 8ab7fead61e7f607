// The sandbox that every package engine runs in.
#pragma once

#include <string>
#include <vector>

namespace qxpkg {

/// What an engine sees and may change. A container's owner may have made links in its root that
/// lead outside, and an engine's own root option follows them. So the sandbox has only the host's
/// programs and libraries (read-only) and the bind mounts listed here. It has its own processes,
/// message queues, host name, /proc and /dev; it cannot mount, or make or open devices. A package
/// script that escapes from the container's root sees no more than the engine.
struct Confinement {
    struct Bind {
        std::string from;  ///< absolute path on the host
        std::string to;    ///< where it appears; the path must not contain links
        bool writable = false;
    };

    std::vector<Bind> binds;                ///< in order, later ones over earlier ones
    std::string root;                       ///< a bound tree that gets /proc and /dev; "": none
    std::vector<std::string> environment;   ///< NAME=value, in addition to those of every engine
    std::vector<std::string> capabilities;  ///< in addition to those for unpacking and scripts
    bool network = false;                   ///< may use the host's network
};

/// The command line that runs `argv` in this sandbox.
std::vector<std::string> confinedCommand(const Confinement& confinement,
                                         const std::vector<std::string>& argv);

}  // namespace qxpkg
