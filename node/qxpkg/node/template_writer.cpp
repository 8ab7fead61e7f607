// See template_writer.h.
#include "node/qxpkg/node/template_writer.h"

#include <fcntl.h>

#include "node/agent/tem/failure.h"
#include "node/agent/tem/files.h"
#include "node/qxpkg/failure.h"
#include "node/qxpkg/locking.h"
#include "node/qxpkg/node/operations.h"
#include "node/support/durable_file.h"
#include "node/support/kr_manifest.h"
#include "node/support/paths.h"

namespace qxpkg {

namespace tem = QXA::tem;

namespace {

qxnode::FileLock locked(const qxnode::LockWait& wait, const Output& output) {
    std::string error;
    if (!qxnode::makeDirectories(qxnode::kTemplateDir, error)) {
        throw Failure(kFailed, error);
    }
    return lockFile(qxnode::kTemplateLock, wait, output);
}

qxnode::Fd openArea() {
    qxnode::Fd area(open(qxnode::kTemplateDir, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!area) {
        throw tem::systemFailure("open directory", qxnode::kTemplateDir);
    }
    return area;
}

/// What follows the template area in a path of the node.
std::string relativeToArea(const std::string& path) {
    return path.substr(std::string_view(qxnode::kTemplateDir).size() + 1);
}

}  // namespace

TemplateWriter::TemplateWriter(const qxnode::LockWait& wait, const Output& output)
    : m_lock(locked(wait, output)), m_area(openArea()) {
    tem::recoverTemplates(m_area.get());
}

void writeStaged(int area, const std::string& path, const std::string& content) {
    const std::size_t slash = path.rfind('/');
    const qxnode::Fd folder = tem::makeDirectories(area, path.substr(0, slash));
    if (!folder || !tem::writeFileDurably(folder.get(), path.substr(slash + 1), content)) {
        throw tem::systemFailure("write", path);
    }
}

void makeStagedFolder(int area, const std::string& path) {
    if (!tem::makeDirectories(area, path)) {
        throw tem::systemFailure("make directory", path);
    }
}

std::string osTarget(const std::string& os) {
    return relativeToArea(qxnode::krOsFolder(os));
}

std::string cacheTarget(const std::string& uuid) {
    return relativeToArea(std::string(qxnode::kTemplateCacheDir) + "/" + uuid);
}

void recoverNodeTemplates() {
    const TemplateWriter writer(qxnode::LockWait::atMost({}), Output(true));
}

}  // namespace qxpkg
