// The parser family of package records; see QXL/QXLMessage.h.
#pragma once

#include "QXL/QXLMessage.h"
#include "QXL/QXLPackage.h"

namespace QXL {

/// The one family object, in the agent library; see QXLParserFactoryData::instance().
template <>
QXL_API std::shared_ptr<QXLParserFactoryData<QXLPackage>>
QXLParserFactoryData<QXLPackage>::instance();

}  // namespace QXL
