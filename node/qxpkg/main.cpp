// qxpkg: KR templates of this node, and the packages of its containers.
#include <signal.h>
#include <unistd.h>

#include <clocale>
#include <cstdio>

#include "cli/command_line.h"
#include "layout/node_dir.h"
#include "node/qxpkg/command_line.h"
#include "node/qxpkg/failure.h"

namespace {

extern "C" void onInterrupt(int) {
    // A working engine ends with this process, and the next run repairs what it left.
    _exit(qxpkg::kInterrupted);
}

void exitOnInterrupt() {
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

/// A parent that ignores SIGCHLD passes that on, and then exit codes of children are lost.
void hearOfChildren() {
    signal(SIGCHLD, SIG_DFL);
}

constexpr cli::ExitCodes kExitCodes{qxpkg::kFailed, qxpkg::kUsage};

bool enterNode(const std::string& directory) {
    std::string error;
    if (qxnode::enterNodeDirectory(directory, error) == 0) {
        return true;
    }
    std::fprintf(stderr, "%s\n", error.c_str());
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    std::setlocale(LC_CTYPE, "");
    exitOnInterrupt();
    hearOfChildren();
    qxpkg::CommandLine line;
    switch (qxpkg::parseCommandLine(argc, argv, line)) {
        case qxpkg::Parsed::answered:
            return cli::finish("qxpkg", qxpkg::kDone, kExitCodes);
        case qxpkg::Parsed::wrong:
            return qxpkg::kUsage;
        case qxpkg::Parsed::command:
            break;
    }
    if (!line.nodeDirectory.empty() && !enterNode(line.nodeDirectory)) {
        return qxpkg::kFailed;
    }
    return cli::finish("qxpkg", qxpkg::runCommand(line), kExitCodes);
}
