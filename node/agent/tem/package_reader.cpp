// Reads template packages. The file is read twice: first for the manifest, so that a whole list of
// files is checked before anything is written, then to unpack it.
#include "node/agent/tem/package_reader.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "QXA/QXATEMLocal.h"
#include "base/durable.h"
#include "base/fd.h"
#include "base/open_below.h"
#include "node/agent/tem/tree_writer.h"
#include "node/support/failure.h"
#include "node/template/archive_pass.h"
#include "node/template/entry_path.h"

namespace QXA::tem {

using qxnode::Failure;
using qxnode::systemFailure;

namespace {

std::string manifestText(ArchivePass& pass, archive_entry* entry) {
    if (archive_entry_filetype(entry) != AE_IFREG || archive_entry_hardlink(entry) != nullptr) {
        pass.refuse("its template.toml is not a regular file");
    }
    const auto tooLong = [&]() {
        pass.refuse("its template.toml is longer than " + std::to_string(kMaxManifestSize) +
                    " bytes");
    };
    if (archive_entry_size(entry) > static_cast<la_int64_t>(kMaxManifestSize)) {
        tooLong();
    }
    std::string text;
    pass.content([&](const char* block, std::size_t size, std::int64_t offset) {
        if (offset < 0 || static_cast<std::size_t>(offset) > kMaxManifestSize ||
            size > kMaxManifestSize - static_cast<std::size_t>(offset)) {
            tooLong();
        }
        text.resize(static_cast<std::size_t>(offset));
        text.append(block, size);
    });
    return text;
}

// The part of `path` below root/ ("" for root itself); nullopt for other paths.
std::optional<std::string> belowRoot(const std::string& path) {
    if (path == kRootName) {
        return "";
    }
    const std::string prefix = std::string(kRootName) + "/";
    return path.starts_with(prefix) ? std::optional(path.substr(prefix.size())) : std::nullopt;
}

// Unpacks one entry below root/.
class EntryWriter {
public:
    EntryWriter(ArchivePass& pass, TreeWriter& tree, const Manifest& manifest)
        : m_pass(pass), m_tree(tree), m_manifest(manifest) {}

    void write(const std::string& path, archive_entry* entry) {
        refuseReservedName(path);
        if (const char* target = archive_entry_hardlink(entry)) {
            writeHardLink(path, target);
            return;
        }
        const struct stat st = attributesOf(entry);
        refuseSetId(path, st.st_mode, m_manifest.setIdFiles);
        switch (archive_entry_filetype(entry)) {
            case AE_IFDIR:
                m_tree.directory(path, st);
                break;
            case AE_IFREG:
                writeFile(path, entry, st);
                break;
            case AE_IFLNK:
                writeLink(path, entry, st);
                break;
            default:
                throw Failure(kTemDamaged,
                              "entry '" + path + "' is neither a file, a directory nor a link");
        }
    }

private:
    void writeFile(const std::string& path, archive_entry* entry, const struct stat& st) {
        const std::int64_t size = m_pass.sizeOf(entry);
        TreeWriter::File file = m_tree.file(path, st);
        m_pass.content([&](const char* block, std::size_t length, std::int64_t offset) {
            file.write(block, length, offset);
        });
        file.finish(size);
    }

    void writeLink(const std::string& path, archive_entry* entry, const struct stat& st) {
        const char* target = archive_entry_symlink(entry);
        if (target == nullptr || path.empty()) {
            throw Failure(kTemDamaged, "entry '" + path + "' is a link that cannot be read");
        }
        refuseUnsafeLink(path, target);
        m_tree.symbolicLink(path, target, st);
    }

    void writeHardLink(const std::string& path, const char* target) {
        const std::optional<std::string> inside = belowRoot(checkedEntryPath(target));
        if (!inside || inside->empty()) {
            throw Failure(kTemDamaged,
                          "entry '" + path + "' is a hard link that leads out: '" + target + "'");
        }
        const mode_t mode = m_tree.hardLink(path, *inside);
        refuseSetId(path, mode, m_manifest.setIdFiles);
    }

    ArchivePass& m_pass;
    TreeWriter& m_tree;
    const Manifest& m_manifest;
};

}  // namespace

PackageReader::PackageReader(const std::string& path, const PackageLimits& limits)
    : m_path(path), m_limits(limits) {
    // Non-blocking, because the open of a pipe without a writer would wait forever.
    m_file = base::Fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat st {};
    if (!m_file || fstat(m_file.get(), &st) != 0) {
        throw systemFailure("open template package", path);
    }
    if (!S_ISREG(st.st_mode)) {
        throw Failure(kTemDamaged, "template package '" + path + "' is not a regular file");
    }
    readManifest();
}

void PackageReader::readManifest() {
    ArchivePass pass(m_file.get(), m_path, m_limits);
    while (archive_entry* entry = pass.next()) {
        // Bad names are refused when unpacking; here only the manifest is looked for.
        std::string_view name = archive_entry_pathname(entry);
        if (name.starts_with("./")) {
            name.remove_prefix(2);
        }
        if (name == kManifestName) {
            m_manifestText = manifestText(pass, entry);
            m_manifest = parseManifest(m_manifestText,
                                       "template package '" + m_path + "': " + kManifestName);
            return;
        }
    }
    pass.refuse("holds no template.toml, so it is not a template package", kTemNotStandard);
}

void PackageReader::unpack(int directory) {
    if (!base::writeFileDurably(directory, kManifestName, m_manifestText)) {
        throw systemFailure("write", kManifestName);
    }
    if (mkdirat(directory, kRootName, 0755) != 0) {
        throw systemFailure("make directory", kRootName);
    }
    const base::Fd root = base::openBelow(directory, kRootName, O_RDONLY | O_DIRECTORY);
    if (!root) {
        throw systemFailure("open directory", kRootName);
    }
    TreeWriter tree(root.get());
    ArchivePass pass(m_file.get(), m_path, m_limits);
    EntryWriter writer(pass, tree, m_manifest);
    bool manifestSeen = false;
    try {
        while (archive_entry* entry = pass.next()) {
            const std::string path = checkedEntryPath(archive_entry_pathname(entry));
            if (path.empty()) {
                continue;
            }
            if (path == kManifestName) {
                if (std::exchange(manifestSeen, true)) {
                    throw Failure(kTemDamaged, "holds template.toml twice");
                }
                continue;
            }
            const std::optional<std::string> inside = belowRoot(path);
            if (!inside) {
                throw Failure(kTemDamaged,
                              "entry '" + path + "' is neither template.toml nor below root/");
            }
            writer.write(*inside, entry);
        }
        tree.finish();
    } catch (const ArchiveFailure&) {
        throw;
    } catch (const Failure& failure) {
        throw Failure(failure.code(), "template package '" + m_path + "': " + failure.what());
    }
}

}  // namespace QXA::tem
