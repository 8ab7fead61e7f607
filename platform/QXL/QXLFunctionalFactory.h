// Factories by which a plug-in offers the agent its implementation of a functionality.
#pragma once

#include <memory>
#include <utility>

#include "QXL/QXLAccessProvider.h"

namespace QXL {

/// Makes one object per request. `Pointer` is the shared pointer to the functionality's interface.
template <typename Pointer>
class QXLFunctionalFactoryLocal {
public:
    virtual ~QXLFunctionalFactoryLocal() = default;

    /// @param access the request's provider, may be null.
    /// @return a new object; the caller owns it. Exceptions of its constructor pass through.
    virtual Pointer createNew(QXLAccess access) = 0;
};

/// The factory of a class `Impl` that is constructed from a request's provider. Holds no data.
template <typename Interface, typename Impl>
class QXLFunctionalFactoryLocalImpl : public QXLFunctionalFactoryLocal<std::shared_ptr<Interface>> {
public:
    /// The pointer shows the `Interface` part of the object and deletes the whole of it.
    std::shared_ptr<Interface> createNew(QXLAccess access) override {
        return std::shared_ptr<Impl>(new Impl(std::move(access)));
    }
};

}  // namespace QXL
