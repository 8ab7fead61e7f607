// QXLFunctionality: access to the one functionality kit of the process.
#pragma once

#include "QXL/Export.h"

namespace QXL {

/// `Kit` is the class that holds a process's multiplexers. The object itself lives in the agent
/// library that every plug-in links, so there is one per process whatever is loaded.
template <typename Kit>
class QXL_API QXLFunctionality {
public:
    /// The kit, made at the first call; it lives until the agent library goes.
    static Kit& kit();
};

}  // namespace QXL
