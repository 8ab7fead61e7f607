// QXAPkgM: the package-manager functionality of an agent.
#pragma once

#include "QXL/QXLPkgM.h"

namespace QXA {

/// Marks package managers among the agent's functionalities.
class QXAPkgMBase {};

class QXL_API QXAPkgM : public virtual QXL::QXLPkgM, public QXAPkgMBase {
public:
    ~QXAPkgM() override;
};

}  // namespace QXA
