// See operations.h.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>

#include "base/content.h"
#include "base/durable.h"
#include "base/fd.h"
#include "base/tree.h"
#include "node/qxpkg/failure.h"
#include "node/qxpkg/node/operations.h"
#include "node/qxpkg/node/template_package.h"
#include "node/template/tar_writer.h"

namespace qxpkg {

namespace {

namespace tem = QXA::tem;

struct stat attributes(mode_t mode, const struct timespec& time) {
    struct stat st {};
    st.st_mode = mode;
    st.st_mtim = time;
    return st;
}

std::string contentOf(int folder, const std::string& path, struct stat& st) {
    std::optional<std::string> content =
        base::readFileBelow(folder, path, TemplatePackageLimits{}.bytes);
    const std::optional<struct stat> found = base::statBelow(folder, path);
    if (!content || !found) {
        throw systemFailure("read", path);
    }
    st = attributes(S_IFREG | 0644, found->st_mtim);
    return std::move(*content);
}

void add(tem::TarWriter& tar, int folder, const std::string& path) {
    const std::optional<struct stat> found = base::statBelow(folder, path);
    if (found && S_ISDIR(found->st_mode)) {
        tar.directory(path, attributes(S_IFDIR | 0755, found->st_mtim));
        return;
    }
    struct stat st {};
    const std::string content = contentOf(folder, path, st);
    tar.text(path, content, st);
}

}  // namespace

void packTemplate(const std::string& folder, const std::string& file) {
    const base::Fd directory(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory) {
        throw systemFailure("open folder", folder);
    }
    base::FileBeside out(file);
    if (!out) {
        throw systemFailure("create a file beside", file);
    }
    tem::TarWriter tar(out.get(), file);
    // The manifest comes first, so that a reader finds it at once.
    add(tar, directory.get(), qxnode::kKrManifestName);
    std::string failed;
    const bool walked = base::walkTree(
        directory.get(),
        [&](const std::string& path, const struct stat&) {
            if (path != qxnode::kKrManifestName) {
                add(tar, directory.get(), path);
            }
        },
        failed);
    if (!walked) {
        throw systemFailure("read", folder + "/" + failed);
    }
    tar.finish();
    // Read the package to check it: the reader knows the rules.
    readTemplatePackage(out.get(), file);
    if (std::string error; !out.finish(0644, error)) {
        throw Failure(error);
    }
}

}  // namespace qxpkg
