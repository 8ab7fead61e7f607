// What the checker's sources share beside the exported services: fatal errors, leveled messages,
// assertions.
#ifndef SRC_COMMON_H
#define SRC_COMMON_H

#include "src/qxfsutil.h"

namespace common {

// Debug levels that messages ask for; warning() and werror() speak from kLevelFaults on.
inline constexpr int kLevelBasic = 1;
inline constexpr int kLevelFaults = 2;
inline constexpr int kLevelDetails = 4;

// Ends the process with status 1 as error(1, errnum, ...) does, in a form that compilers
// understand.
[[noreturn]] void fatal(int errnum, const char* format, ...) QXFSUTIL_PRINTF(2, 3);

// The process ends with status 255 and the text of the condition.
[[noreturn]] void assertion_failed(int line, const char* function, const char* condition);

}  // namespace common

// debug_print for those who asked for this level; arguments are evaluated only then.
#define QXFS_DEBUG(level, ...)                 \
    do {                                       \
        if (qxfsutil_debug_level >= (level)) { \
            debug_print((level), __VA_ARGS__); \
        }                                      \
    } while (false)

// A precondition of an exported function. The function is named as written, without arguments.
#define QXFS_ASSERT(condition) \
    ((condition) ? static_cast<void>(0) : common::assertion_failed(__LINE__, __func__, #condition))

#endif
