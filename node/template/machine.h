// The architectures that run on this machine.
#pragma once

#include <string>

namespace QXA::tem {

/// True if packages of an architecture, by any of its usual names, run on this machine; also true
/// for an unknown name.
bool fitsThisMachine(const std::string& architecture);

/// This machine's own name for its architecture.
std::string thisMachine();

}  // namespace QXA::tem
