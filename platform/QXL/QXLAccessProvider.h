// QXLAccessProviderPrototype: the handle of the request that an object serves.
#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>

#include "QXL/Export.h"

namespace QXL {

/// The agent's own data about a request. Plug-ins cannot look into it and only pass it on; it may
/// be null. Reference-counted; threads may share it.
class QXL_API QXLAccessProviderPrototype
    : public boost::intrusive_ref_counter<QXLAccessProviderPrototype, boost::thread_safe_counter> {
public:
    QXLAccessProviderPrototype() = default;
    QXLAccessProviderPrototype(const QXLAccessProviderPrototype&) = delete;
    QXLAccessProviderPrototype& operator=(const QXLAccessProviderPrototype&) = delete;
    virtual ~QXLAccessProviderPrototype();
};

using QXLAccess = boost::intrusive_ptr<QXLAccessProviderPrototype>;

}  // namespace QXL
