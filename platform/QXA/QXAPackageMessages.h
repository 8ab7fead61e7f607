// The parser family of package records; see QXL/QXLMessage.h.
#pragma once

#include "QXL/QXLMessage.h"
#include "QXL/QXLPackage.h"

namespace QXL {

template <>
QXL_API std::shared_ptr<QXLParserFactoryData<QXLPackage>>
QXLParserFactoryData<QXLPackage>::instance();

}  // namespace QXL
