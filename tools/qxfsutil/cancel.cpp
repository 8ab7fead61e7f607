// See cancel.h.
#include "tools/qxfsutil/cancel.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include "tools/qxfsutil/exit_code.h"

namespace qxfsutil {

namespace {

volatile sig_atomic_t cancellables = 0;
volatile sig_atomic_t signals = 0;
int nothing = -1;  // /dev/null

extern "C" void onSignal(int) {
    if (cancellables == 0) {
        _exit(kExitCancelled);
    }
    signals = 1;
    // A question that is asked from now on, or is about to wait for its answer, gets none.
    dup2(nothing, STDIN_FILENO);
}

}  // namespace

void catchSignals() {
    nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    // Without SA_RESTART: a question that waits for its answer ends, too.
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

Cancellable::Cancellable() {
    cancellables = cancellables + 1;
}

Cancellable::~Cancellable() {
    cancellables = cancellables - 1;
}

bool cancelled() {
    return signals != 0;
}

void startCancelling() {
    cancellables = 0;
    if (cancelled()) {
        _exit(kExitCancelled);
    }
}

}  // namespace qxfsutil
