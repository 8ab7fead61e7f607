// Describing packages of rpm.
#pragma once

#include "node/kr/packaging.h"

namespace qxnode {

extern const Packaging kRpmPackaging;

}  // namespace qxnode
