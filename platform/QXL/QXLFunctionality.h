// QXLFunctionality: access to the one functionality kit of the process.
#pragma once

#include "QXL/Export.h"

namespace QXL {

/// `Kit` is the class that holds the multiplexers. The agent library, which every plug-in links,
/// defines the one object of the process.
template <typename Kit>
class QXL_API QXLFunctionality {
public:
    /// The kit; made by the first call, valid until the agent library is unloaded. May throw
    /// std::bad_alloc.
    static Kit& kit();
};

}  // namespace QXL
