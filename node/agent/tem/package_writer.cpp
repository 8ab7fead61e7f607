// Packs a folder as a standard template package. It refuses everything that an installation would
// refuse, by the same rules, so that the maker of a template sees the error and not its user.
#include "node/agent/tem/package_writer.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <cerrno>
#include <map>

#include "QXA/QXATEMLocal.h"
#include "base/content.h"
#include "base/durable.h"
#include "base/fd.h"
#include "base/open_below.h"
#include "base/tree.h"
#include "node/agent/tem/manifest.h"
#include "node/support/failure.h"
#include "node/template/entry_path.h"
#include "node/template/tar_writer.h"

namespace QXA::tem {

using qxnode::Failure;
using qxnode::systemFailure;

namespace {

class Packer {
public:
    Packer(int root, TarWriter& tar, const Manifest& manifest)
        : m_root(root), m_tar(tar), m_manifest(manifest) {}

    void add(const std::string& path, const struct stat& st) {
        checkedEntryPath(path);
        refuseReservedName(path);
        const std::string name = std::string(kRootName) + "/" + path;
        if (S_ISDIR(st.st_mode)) {
            refuseSetId(path, st.st_mode, m_manifest.setIdFiles);
            m_tar.directory(name, st);
        } else if (S_ISLNK(st.st_mode)) {
            addLink(path, name, st);
        } else if (S_ISREG(st.st_mode)) {
            refuseSetId(path, st.st_mode, m_manifest.setIdFiles);
            addFile(path, name, st);
        } else {
            throw Failure(kTemDamaged,
                          "entry '" + path + "' is neither a file, a directory nor a link");
        }
    }

private:
    void addLink(const std::string& path, const std::string& name, const struct stat& st) {
        const std::optional<std::string> target = base::readLinkBelow(m_root, path);
        if (!target) {
            throw systemFailure("read symbolic link", path);
        }
        refuseUnsafeLink(path, *target);
        m_tar.symbolicLink(name, *target, st);
    }

    void addFile(const std::string& path, const std::string& name, const struct stat& st) {
        if (st.st_nlink > 1) {
            const auto [first, isFirst] = m_names.emplace(st.st_ino, name);
            if (!isFirst) {
                m_tar.hardLink(name, first->second);
                return;
            }
        }
        const base::Fd content = base::openBelow(m_root, path, O_RDONLY | O_NONBLOCK);
        struct stat now {};
        if (!content || fstat(content.get(), &now) != 0) {
            throw systemFailure("read", path);
        }
        if (now.st_ino != st.st_ino || now.st_dev != st.st_dev) {
            throw Failure("cannot read '" + path + "': it was replaced meanwhile");
        }
        m_tar.file(name, content.get(), now);
    }

    int m_root;
    TarWriter& m_tar;
    const Manifest& m_manifest;
    std::map<ino_t, std::string> m_names;
};

}  // namespace

void packFolder(const std::string& folder, const std::string& file) {
    const base::Fd directory(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory) {
        throw systemFailure("open folder", folder);
    }
    const std::optional<std::string> text =
        base::readFileBelow(directory.get(), kManifestName, kMaxManifestSize);
    if (!text) {
        throw systemFailure("read", folder + "/" + kManifestName);
    }
    const Manifest manifest = parseManifest(*text, folder + "/" + kManifestName);
    struct stat manifestStat {};
    if (fstatat(directory.get(), kManifestName, &manifestStat, AT_SYMLINK_NOFOLLOW) != 0) {
        throw systemFailure("read", folder + "/" + kManifestName);
    }
    manifestStat.st_mode = S_IFREG | 0644;
    const base::Fd root = base::openBelow(directory.get(), kRootName, O_RDONLY | O_DIRECTORY);
    if (!root && errno != ENOENT) {
        throw systemFailure("open folder", folder + "/" + kRootName);
    }
    base::FileBeside out(file);
    if (!out) {
        throw systemFailure("create a file beside", file);
    }
    TarWriter tar(out.get(), file);
    // The manifest comes first, so that a reader finds it at once.
    tar.text(kManifestName, *text, manifestStat);
    if (root) {
        struct stat rootStat {};
        if (fstat(root.get(), &rootStat) != 0) {
            throw systemFailure("read", folder + "/" + kRootName);
        }
        tar.directory(kRootName, rootStat);
        Packer packer(root.get(), tar, manifest);
        std::string failed;
        if (!base::walkTree(
                root.get(),
                [&](const std::string& path, const struct stat& st) { packer.add(path, st); },
                failed)) {
            throw systemFailure("read", folder + "/" + kRootName + "/" + failed);
        }
    }
    tar.finish();
    if (std::string error; !out.finish(0644, error)) {
        throw Failure(error);
    }
}

}  // namespace QXA::tem
