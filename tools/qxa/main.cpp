// qxa: package requests from a shell, served by the plug-in as for an agent.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>

#include <unistd.h>

#include "QXA/QXANodeDirectory.h"
#include "QXL/QXLError.h"
#include "QXL/QXLLockPolicy.h"
#include "cli/command_line.h"
#include "tools/qxa/command_line.h"
#include "tools/qxa/exit_code.h"
#include "tools/qxa/print.h"
#include "tools/qxa/tool_path.h"

namespace {

extern "C" void onInterrupt(int) {
    // The node's state is consistent at every moment, so nothing needs to be cleaned up.
    _exit(qxa::kExitInterrupted);
}

void exitOnInterrupt() {
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

/// A parent that ignores SIGCHLD passes that on to qxa, and then exit codes of children are lost.
void hearOfChildren() {
    std::signal(SIGCHLD, SIG_DFL);
}

/// In a build tree the node's tools are beside this program. They must be found before installed
/// ones, but after programs that the user put in front of PATH.
void preferToolsBesideThisProgram() {
    std::error_code failure;
    const auto self = std::filesystem::read_symlink("/proc/self/exe", failure);
    if (failure || !std::filesystem::exists(self.parent_path() / "qxpkg", failure)) {
        return;
    }
    const char* path = std::getenv("PATH");
    const std::string rest = path == nullptr ? "/usr/sbin:/usr/bin:/sbin:/bin" : path;
    setenv("PATH", qxa::pathWith(rest, self.parent_path().string()).c_str(), 1);
}

/// On a terminal, says why the request waits; a script can look into the agent's log.
void tellOfWaits() {
    if (isatty(STDERR_FILENO) == 1) {
        QXL::setLockWaitListener(
            // Overwrites the progress line, which is then shown again below.
            [](const std::string& line) {
                std::fprintf(stderr, "\r\033[Kqxa: %s\n", line.c_str());
            });
    }
}

int run(qxa::CommandLine& line) {
    if (line.common.format == qxa::Format::xml && !line.showsRecords) {
        return qxa::printFailure(line.common, "--format", "only packages can be printed as XML",
                                 qxa::kExitUsage);
    }
    tellOfWaits();
    if (line.common.waitSeconds >= 0) {
        setenv(QXL::kLockWaitVariable, std::to_string(line.common.waitSeconds).c_str(), 1);
    }
    preferToolsBesideThisProgram();
    if (line.needsNode && !line.common.nodeDir.empty()) {
        if (QXA::enterNodeDirectory(line.common.nodeDir) != 0) {
            return qxa::printFailure(line.common, "node directory", QXL::getErrorMessage(),
                                     qxa::kExitFailed);
        }
    }
    return line.command();
}

}  // namespace

int main(int argc, char** argv) {
    exitOnInterrupt();
    hearOfChildren();
    qxa::CommandLine line;
    const auto parser = qxa::makeParser(line);
    constexpr cli::ExitCodes codes{qxa::kExitFailed, qxa::kExitUsage};
    if (const auto ended = cli::parse(*parser, argc, argv, codes)) {
        return *ended;
    }
    try {
        return cli::finish(parser->get_name(), run(line), codes);
    } catch (const std::exception& error) {
        return qxa::printFailure(line.common, "internal", error.what(), qxa::kExitFailed);
    }
}
