// Options of the qxfsutil command line.
#pragma once

#include <string>
#include <vector>

#include "src/area/repair.h"

namespace qxfsutil {

/// The container file system looks for template files here.
inline constexpr const char* kDefaultTemplateRoot = "/qx/template";

struct Options {
    bool json = false;
    bool quiet = false;
    bool verbose = false;
    unsigned jobs = 1;

    std::vector<std::string> names;  ///< areas, indexes, or paths
    std::vector<int> containers;     ///< areas by container number
    bool allContainers = false;
    std::string nodeDirectory;
    double waitSeconds = -1;  ///< for a lock; negative: QX_LOCK_WAIT
    std::string templateRoot = kDefaultTemplateRoot;
    std::string linkRoot;  ///< of `check INDEX`: look links up below it
    qxfs::RepairMode mode = qxfs::RepairMode::report;
    bool modeGiven = false;
    std::string undoFile;
    bool noUndo = false;
    bool setAttributes = false;  ///< repair gives links the attributes of their template files
    bool dropMissing = false;    ///< repair drops what belongs to templates that are missing
    bool completion = false;     ///< show a percentage
    bool convertSymlinks = false;
    bool dryRun = false;
    std::string area;  ///< of commands with one area
    std::string oldId;
    std::string newId;
    std::string output;  ///< of `build`
};

}  // namespace qxfsutil
