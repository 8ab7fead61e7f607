// qxquota: what a container uses of its node's disk, and what it may use.
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <string>

#include "cli/command_line.h"
#include "layout/container_config.h"
#include "layout/node_dir.h"
#include "layout/paths.h"
#include "node/qxquota/usage.h"

namespace {

enum ExitCode { kDone = 0, kFailed = 1, kUsage = 2, kUnknownContainer = 4 };

constexpr const char* kDescription =
    "Show what a container uses of the node's disk, and its limits";
constexpr const char* kFooter =
    "Prints two lines, blocks of 1024 bytes and inodes, each with usage, soft and hard limit;\n"
    "a limit of 0 means no limit. The container's configuration sets limits with\n"
    "DISKSPACE=\"soft:hard\" and DISKINODES=\"soft:hard\".\n"
    "\n"
    "Exit status: 0 done, 1 failed, 2 wrong usage, 4 unknown container.\n"
    "\n"
    "Examples:\n"
    "  qxquota stat 101        a table to read\n"
    "  qxquota -b stat 101     numbers only, for scripts\n";

int fail(ExitCode code, const std::string& reason) {
    std::fprintf(stderr, "qxquota: %s\n", reason.c_str());
    return code;
}

void printLine(const char* label, const qxquota::Quota& quota) {
    std::printf("%s%14" PRIu64 " %14" PRIu64 " %14" PRIu64 "\n", label, quota.used, quota.soft,
                quota.hard);
}

int stat(int veid, bool batch) {
    const std::string path = qxnode::containerConfigPath(veid);
    std::string error;
    if (access(path.c_str(), F_OK) != 0 && errno == ENOENT) {
        return fail(kUnknownContainer, "no container " + std::to_string(veid));
    }
    const auto config = qxnode::ContainerConfig::read(path, error);
    if (!config) {
        return fail(kFailed, error);
    }
    qxquota::Quotas quotas;
    if (!qxquota::readLimits(*config, quotas, error)) {
        return fail(kFailed, path + ": " + error);
    }
    if (!qxquota::measure(config->privateArea(veid), quotas, error)) {
        return fail(kFailed, error);
    }
    if (!batch) {
        std::printf("%-7s%14s %14s %14s\n", "", "usage", "soft", "hard");
    }
    printLine(batch ? "" : "blocks ", quotas.blocks);
    printLine(batch ? "" : "inodes ", quotas.inodes);
    return kDone;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app(kDescription, "qxquota");
    app.footer(kFooter);
    bool batch = false;
    int veid = 0;
    app.add_flag("-b,--batch", batch, "Print only the numbers");
    std::string nodeDirectory;
    cli::addNodeDirectory(app, nodeDirectory);
    CLI::App* command = app.add_subcommand("stat", "Show usage and limits of a container");
    command->add_option("ID", veid, "The container's number")
        ->required()
        ->check(CLI::Range(1, 2147483647));
    command->fallthrough();
    app.require_subcommand(1);
    cli::addCommonParts(app);
    constexpr cli::ExitCodes codes{kFailed, kUsage};
    if (const auto ended = cli::parse(app, argc, argv, codes)) {
        return *ended;
    }
    std::string error;
    if (!nodeDirectory.empty() && qxnode::enterNodeDirectory(nodeDirectory, error) != 0) {
        return fail(kFailed, error);
    }
    return cli::finish(app.get_name(), stat(veid, batch), codes);
}
