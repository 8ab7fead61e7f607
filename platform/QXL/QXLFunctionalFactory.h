// Factories by which a plug-in offers the agent its implementation of a functionality.
#pragma once

#include <memory>
#include <utility>

#include "QXL/QXLAccessProvider.h"

namespace QXL {

/// Makes the objects that serve requests. `Pointer` is a shared pointer to the functionality's
/// interface.
template <typename Pointer>
class QXLFunctionalFactoryLocal {
public:
    virtual ~QXLFunctionalFactoryLocal() = default;

    /// @param access  the request's provider; may be null.
    /// @return a new object for one request. Exceptions of its constructor reach the caller.
    virtual Pointer createNew(QXLAccess access) = 0;
};

/// The factory of a class `Impl` that is constructed from a request's provider. It has no data.
template <typename Interface, typename Impl>
class QXLFunctionalFactoryLocalImpl : public QXLFunctionalFactoryLocal<std::shared_ptr<Interface>> {
public:
    /// The pointer points to the `Interface` part and deletes the whole object.
    std::shared_ptr<Interface> createNew(QXLAccess access) override {
        return std::shared_ptr<Impl>(new Impl(std::move(access)));
    }
};

}  // namespace QXL
