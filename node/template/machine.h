// Which architectures run on this machine.
#pragma once

#include <string>

namespace QXA::tem {

/// Whether packages of an architecture, by any of its usual names, run on this machine. A name that
/// is not known is not judged.
bool fitsThisMachine(const std::string& architecture);

/// This machine's own name for its architecture.
std::string thisMachine();

}  // namespace QXA::tem
