// The sandbox that every package engine runs in.
#pragma once

#include <string>
#include <vector>

namespace qxpkg {

/// What an engine may reach. A container's owner may have planted links in its root, and an
/// engine's own root option follows them; so everything that is not named here is read-only for it,
/// it sees no device but the harmless ones, and its processes, mounts and message queues are its
/// own.
struct Confinement {
    std::vector<std::string> writable;     ///< absolute paths, bound where they lie
    std::vector<std::string> environment;  ///< NAME=value; nothing else is passed on but PATH
    std::string root;  ///< a container's root: gets /proc, /dev, /sys/… of its own; "" for none
    bool network = false;  ///< may use the host's network
};

/// The command line that runs `argv` so.
std::vector<std::string> confinedCommand(const Confinement& confinement,
                                         const std::vector<std::string>& argv);

}  // namespace qxpkg
