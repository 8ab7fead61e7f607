// SIGINT and SIGTERM end a command after it has printed what it found until then.
#pragma once

namespace qxfsutil {

/// Thrown between two directories, where a command can stop.
struct Cancelled {};

/// From now on the signals end the program with kExitCancelled, except as below.
void catchSignals();

/// As long as an object exists, a signal is only remembered.
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
