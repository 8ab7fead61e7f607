// See container.h.
#include "node/qxpkg/container/container.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "layout/paths.h"
#include "node/qxpkg/failure.h"
#include "node/qxpkg/locking.h"

namespace qxpkg {

namespace {

bool isFolder(const std::string& path) {
    struct stat st {};
    return lstat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

Container::Container(int veid, const Options& options, const Output& output) : m_veid(veid) {
    const std::string path = qxnode::containerConfigPath(veid);
    const std::string who = "container " + std::to_string(veid);
    std::string error;
    if (access(path.c_str(), F_OK) != 0 && errno == ENOENT) {
        throw Failure("there is no " + who);
    }
    // Check this before taking the lock: an unknown number must not leave a lock file.
    if (!qxnode::ContainerConfig::read(path, error)) {
        throw Failure(who + ": " + error);
    }
    m_lock = lockFile(qxnode::containerLockPath(veid), options.wait, output);
    auto config = qxnode::ContainerConfig::read(path, error);
    if (!config) {
        throw Failure(who + ": " + error);
    }
    m_config = std::move(*config);
    const std::string os = m_config.get(qxnode::parameter::kOsTemplate).value_or("");
    if (!os.starts_with('.')) {
        throw Failure(who + " is not made from a KR template");
    }
    try {
        m_os = qxnode::readKrOsManifest(os);
    } catch (const Failure& failure) {
        throw Failure(who + ": OS template '" + os + "': " + failure.what());
    }
    for (const std::string& name : m_config.templates()) {
        m_applications.push_back(qxnode::dottedKrName(name));
    }
    m_root = m_config.privateArea(veid) + "/root";
    if (!isFolder(m_root)) {
        throw Failure(who + " has no root folder '" + m_root + "'");
    }
}

Place Container::place() const {
    Place place = placeOf(m_os);
    place.root = m_root;
    place.store = std::string(kStoreDir) + "/" + std::to_string(m_veid);
    for (const std::string& name : m_applications) {
        try {
            addRepositories(place, qxnode::readKrApplicationManifest(m_os.name, name));
        } catch (const Failure&) {
            // A template whose metadata is missing or broken has no sources, but it can still be
            // removed, and the others still work.
            continue;
        }
    }
    return place;
}

void Container::setApplications(const std::vector<std::string>& applications) {
    std::string error;
    if (!m_config.setTemplates(applications)) {
        throw Failure("the container's list of templates cannot be written");
    }
    if (!m_config.write(qxnode::containerConfigPath(m_veid), error)) {
        throw Failure(error);
    }
    m_applications = applications;
}

}  // namespace qxpkg
