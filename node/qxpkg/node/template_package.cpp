// Reads KR template packages in two passes. The first one only looks for the manifest, because a
// package of another technology must be recognised whatever else it has. The second one reads
// everything and refuses entries that are not allowed.
#include "node/qxpkg/node/template_package.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <optional>

#include "base/fd.h"
#include "base/system_error.h"
#include "node/qxpkg/failure.h"
#include "node/template/archive_pass.h"
#include "node/template/entry_path.h"

namespace qxpkg {

namespace {

using QXA::tem::ArchivePass;
using qxnode::KrManifest;
using qxnode::TomlTable;

std::string named(const std::string& path) {
    return "template package '" + path + "': ";
}

ArchivePass passOver(int file, const std::string& path, const TemplatePackageLimits& limits) {
    QXA::tem::PackageLimits bounds;
    bounds.entries = limits.entries;
    bounds.bytes = limits.bytes;
    return {file, path, bounds};
}

/// Reads an entry: a regular file of at most `limit` bytes.
std::string contentOf(ArchivePass& pass, archive_entry* entry, const std::string& path,
                      std::size_t limit) {
    if (archive_entry_filetype(entry) != AE_IFREG || archive_entry_hardlink(entry) != nullptr) {
        pass.refuse("its " + path + " is not a regular file");
    }
    const auto tooLong = [&] {
        pass.refuse("its " + path + " is longer than " + std::to_string(limit) + " bytes");
    };
    if (archive_entry_size(entry) > static_cast<la_int64_t>(limit)) {
        tooLong();
    }
    std::string text;
    pass.content([&](const char* block, std::size_t size, std::int64_t offset) {
        if (offset < 0 || static_cast<std::size_t>(offset) > limit ||
            size > limit - static_cast<std::size_t>(offset)) {
            tooLong();
        }
        text.resize(static_cast<std::size_t>(offset));
        text.append(block, size);
    });
    return text;
}

/// The text of the manifest; nullopt if the archive has none.
std::optional<std::string> findManifest(int file, const std::string& path,
                                        const TemplatePackageLimits& limits) {
    ArchivePass pass = passOver(file, path, limits);
    while (archive_entry* entry = pass.next()) {
        std::string_view name = archive_entry_pathname(entry);
        if (name.starts_with("./")) {
            name.remove_prefix(2);
        }
        if (name == qxnode::kKrManifestName) {
            return contentOf(pass, entry, qxnode::kKrManifestName, TomlTable::kMaxBytes);
        }
        // Do not skip entries larger than the limit while looking for the manifest.
        if (archive_entry_filetype(entry) == AE_IFREG) {
            pass.sizeOf(entry);
        }
    }
    return std::nullopt;
}

/// @throws Failure kNotKrTemplate.
std::string krManifestText(int file, const std::string& path, const TemplatePackageLimits& limits) {
    std::string reason = "holds no template.toml";
    try {
        if (std::optional<std::string> text = findManifest(file, path, limits)) {
            const auto technology =
                TomlTable::parse(*text, named(path) + qxnode::kKrManifestName).text("technology");
            if (technology == qxnode::kKrTechnology) {
                return std::move(*text);
            }
            reason = "its technology is '" + technology.value_or("") + "'";
        }
    } catch (const std::exception& failure) {
        reason = failure.what();
    }
    const std::string prefix = named(path);
    throw Failure(kNotKrTemplate, (reason.starts_with(prefix) ? "" : prefix) + reason +
                                      "; it is not a KR template package");
}

/// The part of a path after "folder/"; nullopt if it does not begin with that.
std::optional<std::string> below(const std::string& path, const char* folder) {
    const std::string prefix = std::string(folder) + "/";
    return path.starts_with(prefix) ? std::optional(path.substr(prefix.size())) : std::nullopt;
}

/// The second pass.
class Contents {
public:
    Contents(TemplatePackage& package, const TemplatePackageLimits& limits)
        : m_package(package), m_limits(limits) {}

    void read(int file) {
        ArchivePass pass = passOver(file, m_package.path, m_limits);
        while (archive_entry* entry = pass.next()) {
            const std::string path = QXA::tem::checkedEntryPath(archive_entry_pathname(entry));
            if (archive_entry_filetype(entry) == AE_IFDIR) {
                takeFolder(pass, path);
            } else {
                takeFile(pass, entry, path);
            }
        }
    }

private:
    void takeFolder(ArchivePass& pass, const std::string& path) const {
        const bool holdsApplications =
            path == qxnode::kKrApplicationDir && m_package.main.manifest.isOsTemplate;
        if (!path.empty() && path != kKeysDir && !holdsApplications) {
            refuseEntry(pass, path);
        }
    }

    void takeFile(ArchivePass& pass, archive_entry* entry, const std::string& path) {
        if (path == qxnode::kKrManifestName) {
            if (std::exchange(m_manifestSeen, true)) {
                pass.refuse("holds template.toml twice");
            }
            return;
        }
        if (const auto key = below(path, kKeysDir)) {
            takeKey(pass, entry, path, *key);
            return;
        }
        const auto application = below(path, qxnode::kKrApplicationDir);
        if (!application || !m_package.main.manifest.isOsTemplate) {
            refuseEntry(pass, path);
        }
        takeApplication(pass, entry, path, *application);
    }

    void takeKey(ArchivePass& pass, archive_entry* entry, const std::string& path,
                 const std::string& name) {
        if (name.starts_with('.') || !qxnode::isKrName(name)) {
            refuseEntry(pass, path);
        }
        std::string text = contentOf(pass, entry, path, m_limits.keyBytes);
        if (!m_package.keys.emplace(name, std::move(text)).second) {
            pass.refuse("holds " + path + " twice");
        }
    }

    void takeApplication(ArchivePass& pass, archive_entry* entry, const std::string& path,
                         const std::string& fileName) {
        const std::string_view suffix = qxnode::kKrApplicationSuffix;
        const std::string name =
            fileName.substr(0, fileName.size() - std::min(suffix.size(), fileName.size()));
        if (!fileName.ends_with(suffix) || name.starts_with('.') || !qxnode::isKrName(name)) {
            refuseEntry(pass, path);
        }
        std::string text = contentOf(pass, entry, path, TomlTable::kMaxBytes);
        KrManifest manifest = qxnode::parseKrManifest(text, named(m_package.path) + path);
        if (manifest.isOsTemplate || manifest.name != qxnode::dottedKrName(name) ||
            manifest.osName != m_package.main.manifest.name) {
            pass.refuse("its " + path + " is not an application template '." + name + "' of '" +
                        m_package.main.manifest.name + "'");
        }
        if (!m_package.applications
                 .emplace(name, ManifestFile{std::move(manifest), std::move(text)})
                 .second) {
            pass.refuse("holds " + path + " twice");
        }
    }

    [[noreturn]] static void refuseEntry(ArchivePass& pass, const std::string& path) {
        pass.refuse("entry '" + path + "' does not belong into a template package");
    }

    TemplatePackage& m_package;
    const TemplatePackageLimits& m_limits;
    bool m_manifestSeen = false;
};

}  // namespace

TemplatePackage readTemplatePackage(int file, const std::string& path,
                                    const TemplatePackageLimits& limits) {
    TemplatePackage package;
    package.path = path;
    package.main.text = krManifestText(file, path, limits);
    try {
        package.main.manifest =
            qxnode::parseKrManifest(package.main.text, named(path) + qxnode::kKrManifestName);
        Contents(package, limits).read(file);
    } catch (const std::exception& failure) {
        const std::string reason = failure.what();
        throw Failure(reason.starts_with(named(path)) ? reason : named(path) + reason);
    }
    return package;
}

TemplatePackage readTemplatePackage(const std::string& path, const TemplatePackageLimits& limits) {
    // Non-blocking, because the open of a pipe without a writer would wait forever.
    const base::Fd file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat st {};
    if (!file || fstat(file.get(), &st) != 0) {
        throw Failure(base::systemError("open template package", path));
    }
    if (!S_ISREG(st.st_mode)) {
        throw Failure(kNotKrTemplate, named(path) + "is not a regular file");
    }
    return readTemplatePackage(file.get(), path, limits);
}

}  // namespace qxpkg
