// How SIGINT and SIGTERM end a command: what it found until then is printed first.
#pragma once

namespace qxfsutil {

/// Thrown where a command can stop: between two directories.
struct Cancelled {};

/// From now on the signals end the program with kExitCancelled, except as below.
void catchSignals();

/// While one of these lives, a signal is only remembered.
class Cancellable {
public:
    Cancellable();
    ~Cancellable();
    Cancellable(const Cancellable&) = delete;
    Cancellable& operator=(const Cancellable&) = delete;
};

/// True after a signal.
bool cancelled();

/// For a new child process: signals end it again. One that was remembered ends it now.
void startCancelling();

}  // namespace qxfsutil
