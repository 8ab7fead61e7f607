// QXAEnvMLocal: the agent's manager of this node's containers.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "QXL/Export.h"
#include "QXL/QXLAccessProvider.h"
#include "QXL/QXLEID.h"

namespace QXA {

/// What a new container is made of. Unset texts are chosen by the manager.
struct QXAEnvSpec {
    int veid = 0;                            ///< the container's number, greater than 0
    std::optional<QXL::QXLEID> eid;          ///< default: a new UUID
    std::optional<std::string> privateArea;  ///< default: "/qx/private/$VEID"
    std::string osTemplate;                  ///< "name", "name/version" or ".name"; may be empty
    std::optional<QXL::QXLEID> parent;       ///< default: this node
    std::optional<std::string> type;         ///< default: "meridane"
};

/// A container as its configuration file describes it.
struct QXAEnvRecord {
    int veid = 0;
    QXL::QXLEID eid;
    QXL::QXLEID parent;
    std::string type;
    std::string privateArea;             ///< with "$VEID" replaced
    std::string osTemplate;              ///< as configured
    std::vector<std::string> templates;  ///< as configured
};

/// Results: 0, or one of these with the reason in getErrorMessage().
enum EnvMResult : int {
    kEnvMOk = 0,
    kEnvMFailed = -1,
    kEnvMExists = -7,    ///< the number or the EID is taken, or something is in the area's place
    kEnvMUnknown = -30,  ///< no such container, or no such OS template
};

/// Makes, removes and lists containers. Calls that change something wait for each other, container
/// by container; a lock that was not had in time is kEnvMFailed with kErrorLockTimeout in
/// QXL::getLastErrorData().
class QXL_API QXAEnvMLocal {
public:
    /// @param access  the request's provider, may be null.
    explicit QXAEnvMLocal(QXL::QXLAccess access);
    ~QXAEnvMLocal();

    /// Makes the container's private area and configuration. The root starts from the cache of the
    /// OS template when it has one (of a KR template a copy, by reflink where the file system can);
    /// from what a standard OS template brings, cache or not; else empty.
    /// @param created  gets the new container, may be null.
    /// @return 0, kEnvMExists, kEnvMUnknown (the OS template), kEnvMFailed; nothing is left of a
    ///         container that could not be made.
    int create(const QXAEnvSpec& spec, QXAEnvRecord* created);

    /// Removes the container: its configuration first, then its private area. An area that does not
    /// look like one is refused, and the container stays.
    /// @return 0, kEnvMUnknown, kEnvMFailed.
    int destroy(int veid);

    /// Every container whose configuration can be read, by number; replaces what `out` holds.
    /// @return 0, kEnvMFailed; `out` is then as before.
    int list(std::vector<QXAEnvRecord>& out);

private:
    QXL::QXLAccess m_access;
};

}  // namespace QXA
