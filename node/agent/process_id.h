// Naming a process so that it can be told, later and by another one, whether it still lives.
#pragma once

#include <sys/types.h>

#include <string>

namespace QXL {

/// When the process began, in the kernel's words and together with the boot it happened in; empty
/// when there is no such process. Numbers of processes are used again; this is not.
std::string processBirth(pid_t pid);

}  // namespace QXL
