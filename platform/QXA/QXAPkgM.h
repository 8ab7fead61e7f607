// QXAPkgM: the package-manager functionality of an agent.
#pragma once

#include "QXL/QXLPkgM.h"

namespace QXA {

/// Marks package managers among the agent's functionalities.
class QXAPkgMBase {};

/// The interface under which plug-ins register package managers; it adds nothing to QXLPkgM.
class QXL_API QXAPkgM : public virtual QXL::QXLPkgM, public QXAPkgMBase {
public:
    ~QXAPkgM() override;
};

}  // namespace QXA
