// Caches of OS templates. A cache has what adding the template to an empty container makes: the
// references to the template area, and the record with which they can be removed again.
#include "node/agent/tem/template_cache.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>

#include "QXA/QXATEMLocal.h"
#include "base/fd.h"
#include "base/open_below.h"
#include "node/agent/tem/area_plan.h"
#include "node/agent/tem/tree_writer.h"
#include "node/support/failure.h"
#include "node/template/archive_pass.h"
#include "node/template/entry_path.h"
#include "node/template/tar_writer.h"

namespace QXA::tem {

using qxnode::Failure;
using qxnode::systemFailure;

namespace {

void writeEntry(TarWriter& tar, const std::string& path, const AreaEntry& entry) {
    const std::string name = std::string(kRootName) + "/" + path;
    struct stat st = entry.attributes();
    switch (entry.kind) {
        case AreaEntry::Kind::directory:
            st.st_mode |= S_IFDIR;
            tar.directory(name, st);
            break;
        case AreaEntry::Kind::shortcut:
            st.st_mode |= S_IFREG;
            tar.text(name, entry.text, st);
            break;
        case AreaEntry::Kind::link:
            st.st_mode |= S_IFLNK;
            tar.symbolicLink(name, entry.text, st);
            break;
    }
}

struct stat stateDirectory() {
    struct stat st {};
    st.st_mode = S_IFDIR | 0700;
    return st;
}

struct stat recordFile() {
    struct stat st {};
    st.st_mode = S_IFREG | 0600;
    return st;
}

std::string recordPath(const QXATemplate& key) {
    return std::string(kAreaStateName) + "/" + recordName(key);
}

AreaRecord recordOf(const TemplateArea& templates, const QXATemplate& key) {
    const base::Fd root = templates.openRoot(key);
    return {key, true, entriesOf(root.get(), key)};
}

void buildCache(const TemplateArea& templates, const QXATemplate& key, int file) {
    const AreaRecord record = recordOf(templates, key);
    TarWriter tar(file, kCacheName);
    tar.directory(kAreaStateName, stateDirectory());
    tar.text(recordPath(key), formatRecord(record), recordFile());
    for (const auto& [path, entry] : record.entries) {
        writeEntry(tar, path, entry);
    }
    tar.finish();
}

std::vector<QXATemplate> cachesToBuild(const TemplateArea& area,
                                       const std::vector<QXATemplate>& keys) {
    std::vector<QXATemplate> out;
    if (keys.empty()) {
        for (const auto& manifest : area.all()) {
            if (manifest->config.isOsTemplate) {
                out.push_back(manifest->key());
            }
        }
        return out;
    }
    for (const QXATemplate& asked : keys) {
        const QXATemplate key = area.resolve(asked);
        if (!area.manifest(key)->config.isOsTemplate) {
            throw Failure("template '" + key.toString() +
                          "' is not an OS template and so has no cache");
        }
        if (std::find(out.begin(), out.end(), key) == out.end()) {
            out.push_back(key);
        }
    }
    return out;
}

}  // namespace

void renewCaches(const std::vector<QXATemplate>& keys) {
    {
        const TemplateArea before;
        recoverTemplates(before.root());
    }
    const TemplateArea area;
    std::vector<JournalStep> steps;
    StagedChange staging(area.root());
    for (const QXATemplate& key : cachesToBuild(area, keys)) {
        const std::string path = staging.newPath();
        const base::Fd file = base::openBelow(area.root(), path, O_WRONLY | O_CREAT | O_EXCL, 0644);
        if (!file) {
            throw systemFailure("create", path);
        }
        buildCache(area, key, file.get());
        steps.push_back(
            {JournalStep::Kind::place, 0, path, key.name + "/" + key.version + "/" + kCacheName});
    }
    if (!steps.empty()) {
        staging.commit(std::move(steps));
    }
}

void fillFromTemplate(const TemplateArea& templates, const QXATemplate& key, int directory) {
    const AreaRecord record = recordOf(templates, key);
    TreeWriter tree(directory);
    tree.directory(kAreaStateName, stateDirectory());
    const auto file = [&](const std::string& path, const std::string& text,
                          const struct stat& attributes) {
        TreeWriter::File out = tree.file(path, attributes);
        out.write(text.data(), text.size(), 0);
        out.finish(static_cast<std::int64_t>(text.size()));
    };
    file(recordPath(key), formatRecord(record), recordFile());
    for (const auto& [path, entry] : record.entries) {
        const std::string name = std::string(kRootName) + "/" + path;
        switch (entry.kind) {
            case AreaEntry::Kind::directory:
                tree.directory(name, entry.attributes());
                break;
            case AreaEntry::Kind::shortcut:
                file(name, entry.text, entry.attributes());
                break;
            case AreaEntry::Kind::link:
                tree.symbolicLink(name, entry.text, entry.attributes());
                break;
        }
    }
    tree.finish();
}

bool unpackCache(const TemplateArea& templates, const QXATemplate& key, int directory) {
    const std::string path = key.name + "/" + key.version + "/" + kCacheName;
    const base::Fd file = base::openBelow(templates.root(), path, O_RDONLY | O_NONBLOCK);
    if (!file) {
        return false;
    }
    TreeWriter tree(directory);
    ArchivePass pass(file.get(), std::string(kTemplateAreaPath) + "/" + path, PackageLimits{});
    while (archive_entry* entry = pass.next()) {
        const std::string name = checkedEntryPath(archive_entry_pathname(entry));
        const struct stat st = attributesOf(entry);
        switch (archive_entry_filetype(entry)) {
            case AE_IFDIR:
                tree.directory(name, st);
                break;
            case AE_IFLNK:
                if (archive_entry_symlink(entry) == nullptr) {
                    pass.refuse("entry '" + name + "' is a link that cannot be read");
                }
                tree.symbolicLink(name, archive_entry_symlink(entry), st);
                break;
            case AE_IFREG: {
                const std::int64_t size = pass.sizeOf(entry);
                TreeWriter::File out = tree.file(name, st);
                pass.content([&](const char* data, std::size_t length, std::int64_t offset) {
                    out.write(data, length, offset);
                });
                out.finish(size);
                break;
            }
            default:
                pass.refuse("entry '" + name + "' is not part of a cache");
        }
    }
    tree.finish();
    return true;
}

}  // namespace QXA::tem
