// One container of KR templates, locked while it is being changed.
#pragma once

#include <string>
#include <vector>

#include "layout/container_config.h"
#include "layout/lock.h"
#include "node/qxpkg/engine/place.h"
#include "node/qxpkg/options.h"
#include "node/qxpkg/output.h"

namespace qxpkg {

class Container {
public:
    /// Takes the container's lock, then reads its configuration.
    /// @throws Failure: kLockNotHad; kFailed if there is no such container, it was not made from a
    ///         KR template, or it has no root.
    Container(int veid, const Options& options, const Output& output);

    [[nodiscard]] int veid() const { return m_veid; }
    [[nodiscard]] const qxnode::KrManifest& os() const { return m_os; }

    /// The application templates in the configuration, with their dots.
    [[nodiscard]] const std::vector<std::string>& applications() const { return m_applications; }

    /// The place for an engine, with the sources of its OS template and its application templates.
    [[nodiscard]] Place place() const;

    /// Writes the list to the configuration. @throws Failure.
    void setApplications(const std::vector<std::string>& applications);

private:
    int m_veid;
    qxnode::FileLock m_lock;
    qxnode::ContainerConfig m_config;
    qxnode::KrManifest m_os;
    std::vector<std::string> m_applications;
    std::string m_root;
};

}  // namespace qxpkg
