// Finds containers by their configurations, and takes their locks as the node does; see targets.h.
#include "tools/qxfsutil/targets.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <utility>

#include "base/child_pool.h"
#include "layout/container_config.h"
#include "layout/paths.h"
#include "tools/qxfsutil/cancel.h"
#include "tools/qxfsutil/commands.h"
#include "tools/qxfsutil/exit_code.h"

namespace qxfsutil {

namespace {

using FileId = std::pair<dev_t, ino_t>;

std::optional<FileId> fileAt(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 ? std::optional(FileId(info.st_dev, info.st_ino))
                                          : std::nullopt;
}

/// The containers by their private areas and roots.
class ContainerAreas {
public:
    ContainerAreas() {
        std::error_code none;
        for (const int veid : qxnode::containerNumbers(qxnode::kContainerConfigDir, none)) {
            std::string broken;
            const auto config =
                qxnode::ContainerConfig::read(qxnode::containerConfigPath(veid), broken);
            const std::string area = config ? config->privateArea(veid) : "";
            for (const auto& path : {area, area + "/root"}) {
                if (const auto file = config ? fileAt(path) : std::nullopt) {
                    m_targets.emplace(*file, Target{"", veid, path == area});
                }
            }
        }
    }

    [[nodiscard]] Target targetAt(const std::string& path) const {
        const auto file = fileAt(path);
        const auto found = file ? m_targets.find(*file) : m_targets.end();
        Target target = found == m_targets.end() ? Target() : found->second;
        target.path = path;
        return target;
    }

private:
    std::map<FileId, Target> m_targets;
};

/// Says so when a change of the container's templates was interrupted.
void reportInterruptedChange(const Options& options, const qxfs::Area& area) {
    const auto mark = area.privateDir + "/" + qxnode::kInterruptedChange;
    struct stat info {};
    if (lstat(mark.c_str(), &info) == 0) {
        reportNote(options, area.name,
                   "a change of this container's templates was interrupted; the next one (qxa "
                   "install, update or remove) completes it. Findings may come from it: make that "
                   "change before a repair");
    }
}

/// What a child prints goes to the pool's descriptor.
int printingTo(int output, const std::function<int()>& work) {
    startCancelling();
    if (dup2(output, STDOUT_FILENO) < 0) {
        std::fprintf(stderr, "qxfsutil: can't print into a file: %s\n", std::strerror(errno));
        return kExitOperational;
    }
    return work();
}

}  // namespace

int collectTargets(const Options& options, std::vector<Target>& targets) {
    int exitCode = kExitClean;
    if (!options.names.empty()) {
        const ContainerAreas areas;
        for (const auto& name : options.names) {
            targets.push_back(areas.targetAt(name));
        }
    }
    auto containers = options.containers;
    if (options.allContainers) {
        std::error_code failure;
        containers = qxnode::containerNumbers(qxnode::kContainerConfigDir, failure);
        if (failure) {
            exitCode |= reportFailure(options, qxnode::kContainerConfigDir, failure.message());
        }
    }
    for (const int container : containers) {
        std::string error;
        const auto config =
            qxnode::ContainerConfig::read(qxnode::containerConfigPath(container), error);
        if (config) {
            targets.push_back({config->privateArea(container), container, true});
        } else {
            exitCode |= reportFailure(options, "container " + std::to_string(container), error);
        }
    }
    return exitCode;
}

Target targetAt(const std::string& path) {
    return ContainerAreas().targetAt(path);
}

int lockArea(const Options& options, const Target& target, qxnode::FileLock::Mode mode,
             qxnode::FileLock& lock) {
    if (!target.container) {
        return kExitClean;
    }
    const auto wait = options.waitSeconds < 0 ? qxnode::LockWait::fromEnvironment()
                                              : qxnode::LockWait::atMost(std::chrono::milliseconds(
                                                    std::llround(options.waitSeconds * 1000)));
    std::string error;
    const auto result = lock.acquire(
        qxnode::containerLockPath(*target.container), wait, error,
        [&](const std::string& line) { reportNote(options, target.path, line); }, mode);
    return result == qxnode::FileLock::Result::acquired
               ? int{kExitClean}
               : reportFailure(options, target.path, error);
}

int holdArea(const Options& options, const Target& target, qxnode::FileLock::Mode mode,
             HeldArea& held) {
    if (const int failed = lockArea(options, target, mode, held.lock)) {
        return failed;
    }
    std::string error;
    if (!qxfs::openArea(target.path, options.templateRoot, held.area, error,
                        target.isPrivateArea)) {
        return reportFailure(options, target.path, error);
    }
    reportInterruptedChange(options, held.area);
    return kExitClean;
}

int runOnTargets(const Options& options, const std::vector<Target>& targets,
                 const std::function<int(const Target&)>& work) {
    if (targets.size() == 1) {
        return work(targets.front());
    }
    const Cancellable meanwhile;
    int exitCode = kExitClean;
    base::runChildren(
        targets.size(), options.jobs,
        [&](std::size_t place, int output) {
            return printingTo(output, [&] { return work(targets[place]); });
        },
        [&](std::size_t place, const base::ChildResult& result) {
            std::fwrite(result.text.data(), 1, result.text.size(), stdout);
            exitCode |= result.exitCode() >= 0
                            ? result.exitCode()
                            : reportFailure(options, targets[place].path, result.reason());
        },
        cancelled);
    return exitCode | (cancelled() ? kExitCancelled : kExitClean);
}

}  // namespace qxfsutil
