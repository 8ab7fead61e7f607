// The commands of qxa. Each returns the exit code of the program.
#pragma once

#include <string>

#include "tools/qxa/options.h"
#include "tools/qxa/request.h"

namespace qxa {

/// Options of `qxa ct create`.
struct ContainerOptions {
    int veid = 0;
    std::string eid;
    std::string privateArea;
    std::string osTemplate;
    std::string parent;
    std::string type;
};

int runPackageCommand(const CommonOptions& common, Operation operation,
                      const PackageOptions& options);

int runContainerCreate(const CommonOptions& common, const ContainerOptions& options);
int runContainerList(const CommonOptions& common);
int runContainerShow(const CommonOptions& common, int veid);
int runContainerDestroy(const CommonOptions& common, int veid);

int runTemplatePack(const CommonOptions& common, const std::string& folder,
                    const std::string& file);
int runNodeInit(const CommonOptions& common, const std::string& folder);

/// Shows events as they arrive. @param count  stop after so many (0: no limit).
/// @param timeoutSeconds  stop after so many seconds without an event (negative: no limit).
int runEvents(const CommonOptions& common, unsigned count, int timeoutSeconds);

int runHistory(const CommonOptions& common, std::size_t limit);

}  // namespace qxa
