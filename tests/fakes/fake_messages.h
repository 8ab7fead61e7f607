// A message with one name; a test decides whether reading and writing succeed.
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
