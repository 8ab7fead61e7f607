// QXAEnvMLocal: the agent's manager of this node's containers.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "QXL/Export.h"
#include "QXL/QXLAccessProvider.h"
#include "QXL/QXLEID.h"

namespace QXA {

/// Describes a new container. The manager chooses a default for what is not set.
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

/// Makes, removes and lists containers. Changes of the same container wait for each other (see
/// QXL/QXLLockPolicy.h); if the wait times out, the result is kEnvMFailed and
/// QXL::getLastErrorData() has kErrorLockTimeout.
class QXL_API QXAEnvMLocal {
public:
    /// @param access  the request's provider; may be null.
    explicit QXAEnvMLocal(QXL::QXLAccess access);
    ~QXAEnvMLocal();

    /// Makes the container's private area and configuration. Its root is made from the OS template:
    /// of a KR template from its cache (a copy, or reflinks if the file system supports them), of a
    /// standard template from its cache or its files. Without a template, or if a KR template has
    /// no cache, the root is empty.
    /// @param created  receives the new container; may be null.
    /// @return 0, kEnvMExists, kEnvMUnknown (the OS template), kEnvMFailed. On failure nothing of
    ///         the container remains.
    int create(const QXAEnvSpec& spec, QXAEnvRecord* created);

    /// Removes the container: first its configuration, then its private area. If the directory does
    /// not look like a private area, nothing is removed.
    /// @return 0, kEnvMUnknown, kEnvMFailed.
    int destroy(int veid);

    /// Lists every container whose configuration can be read, ordered by number. Replaces the
    /// content of `out`. @return 0, or kEnvMFailed: `out` is then unchanged.
    int list(std::vector<QXAEnvRecord>& out);

private:
    QXL::QXLAccess m_access;
};

}  // namespace QXA
