// Options of the qxa command line.
#pragma once

#include <string>
#include <vector>

namespace qxa {

enum class Format { table, json, xml };

/// Options that every command takes.
struct CommonOptions {
    Format format = Format::table;
    bool quiet = false;      ///< print only results and failures
    bool verbose = false;    ///< say what is being done
    std::string nodeDir;     ///< work in this node directory instead of on the machine
    std::string pluginPath;  ///< the plug-in library; empty: the loader finds it
    int waitSeconds = -1;    ///< for a lock; -1: no limit
};

/// The targets of a package command.
struct TargetOptions {
    std::vector<std::string> containers;  ///< numbers and globs over numbers
    std::vector<std::string> eids;
    bool allContainers = false;
    unsigned jobs = 1;  ///< targets worked on at once

    [[nodiscard]] bool node() const { return containers.empty() && eids.empty() && !allContainers; }
};

/// Options of the package commands.
struct PackageOptions {
    TargetOptions target;
    std::vector<std::string> names;
    std::vector<std::string> types;  ///< os, app, rpm, deb
    std::string os;                  ///< OS template that packages belong to, on the node
    unsigned flags = 0;              ///< QXL::PkgOption bits
    bool summary = false;
    bool compatible = false;
};

}  // namespace qxa
