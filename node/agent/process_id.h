// Identifies a process, so that another process can find out later whether it still exists.
#pragma once

#include <sys/types.h>

#include <string>

namespace QXL {

/// The boot's identifier and the process's start time in the kernel's form; empty if there is no
/// such process. Process numbers are used again; this text is not.
std::string processBirth(pid_t pid);

}  // namespace QXL
