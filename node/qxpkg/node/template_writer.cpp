// See template_writer.h.
#include "node/qxpkg/node/template_writer.h"

#include <fcntl.h>

#include "base/durable.h"
#include "base/fd.h"
#include "base/open_below.h"
#include "layout/paths.h"
#include "node/kr/cache.h"
#include "node/kr/manifest.h"
#include "node/qxpkg/failure.h"
#include "node/qxpkg/locking.h"
#include "node/qxpkg/node/operations.h"

namespace qxpkg {

namespace tem = QXA::tem;

namespace {

qxnode::FileLock locked(const qxnode::LockWait& wait, const Output& output) {
    std::string error;
    if (!base::makeDirectories(qxnode::kTemplateDir, error)) {
        throw Failure(error);
    }
    return lockFile(qxnode::kTemplateLock, wait, output);
}

base::Fd openArea() {
    base::Fd area(open(qxnode::kTemplateDir, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!area) {
        throw systemFailure("open directory", qxnode::kTemplateDir);
    }
    return area;
}

/// The part of a path of the node after the template area.
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
    const base::Fd folder = base::makeBelow(area, path.substr(0, slash));
    if (!folder || !base::writeFileDurably(folder.get(), path.substr(slash + 1), content)) {
        throw systemFailure("write", path);
    }
}

void makeStagedFolder(int area, const std::string& path) {
    if (!base::makeBelow(area, path)) {
        throw systemFailure("make directory", path);
    }
}

std::string osTarget(const std::string& os) {
    return relativeToArea(qxnode::krOsFolder(os));
}

std::string cacheTarget(const std::string& uuid) {
    return relativeToArea(qxnode::krCacheFolder(uuid));
}

void recoverNodeTemplates() {
    const TemplateWriter writer(qxnode::LockWait::atMost({}), Output(true));
}

}  // namespace qxpkg
