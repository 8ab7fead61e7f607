// A message that holds one name; reading and writing it succeed or fail as a test wants.
#pragma once

#include <string>

#include "QXL/QXLMessage.h"

namespace fakes {

class FakeMessage : public QXL::QXLMessageIterator {
public:
    std::string name;
    std::string type;  ///< type identifier that was written
    int readResult = 0;
    int writeResult = 0;
};

}  // namespace fakes
