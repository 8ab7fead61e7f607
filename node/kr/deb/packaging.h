// Describing packages of deb.
#pragma once

#include "node/kr/packaging.h"

namespace qxnode {

extern const Packaging kDebPackaging;

}  // namespace qxnode
