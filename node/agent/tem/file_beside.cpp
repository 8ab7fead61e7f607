// See file_beside.h.
#include "node/agent/tem/file_beside.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/durable.h"
#include "base/fd.h"
#include "node/agent/tem/failure.h"

namespace QXA::tem {

FileBeside::FileBeside(const std::string& path) : m_path(path) {
    const std::size_t slash = path.rfind('/');
    const std::size_t name = slash == std::string::npos ? 0 : slash + 1;
    m_folder = name == 0 ? "." : path.substr(0, name);
    m_beside = path.substr(0, name) + ".XXXXXX-" + path.substr(name);
    m_fd =
        base::Fd(mkostemps(m_beside.data(), static_cast<int>(path.size() - name) + 1, O_CLOEXEC));
    if (!m_fd) {
        throw systemFailure("create a file beside", path);
    }
}

FileBeside::~FileBeside() {
    if (!m_renamed) {
        unlink(m_beside.c_str());
    }
}

void FileBeside::finish() {
    if (fchmod(m_fd.get(), 0644) != 0 || fsync(m_fd.get()) != 0 ||
        rename(m_beside.c_str(), m_path.c_str()) != 0) {
        throw systemFailure("write", m_path);
    }
    m_renamed = true;
    std::string error;
    if (!base::flushDirectory(m_folder, error)) {
        throw Failure(kTemFailed, error);
    }
}

}  // namespace QXA::tem
