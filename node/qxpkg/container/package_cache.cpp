// See package_cache.h.
#include "node/qxpkg/container/package_cache.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "base/durable.h"
#include "base/fd.h"
#include "base/open_below.h"
#include "base/system_error.h"
#include "node/qxpkg/engine/engine.h"
#include "node/qxpkg/failure.h"

namespace qxpkg {

namespace {

namespace fs = std::filesystem;

/// Copies a file into a folder that an engine can write to, without following links in it.
void copyInto(int directory, const fs::path& from, const std::string& to) {
    const base::Fd source(open(from.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    const base::Fd folder = base::makeBelow(directory, fs::path(to).parent_path().string());
    if (!source || !folder) {
        throw Failure(base::systemError("copy", from.string()));
    }
    const std::string name = fs::path(to).filename().string();
    const std::string beside = name + ".qxpkg-new";
    unlinkat(folder.get(), beside.c_str(), 0);
    const base::Fd target(
        openat(folder.get(), beside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    constexpr std::size_t kBlock = std::size_t{1} << 20;
    ssize_t got = target ? 1 : -1;
    while (got > 0) {
        got = copy_file_range(source.get(), nullptr, target.get(), nullptr, kBlock, 0);
    }
    // A name must not come before its content: what is there is not looked at again.
    if (got < 0 || fsync(target.get()) != 0 ||
        renameat(folder.get(), beside.c_str(), folder.get(), name.c_str()) != 0 ||
        !base::flushDirectory(folder.get())) {
        const std::string error = base::systemError("copy", from.string());
        unlinkat(folder.get(), beside.c_str(), 0);
        throw Failure(error);
    }
}

bool isTemporary(const fs::path& path) {
    const std::string name = path.filename().string();
    return name == "lock" || name == "partial" || name.starts_with('.');
}

}  // namespace

void seedDownloads(const Place& place) {
    std::error_code failure;
    const base::Fd work(open(place.work().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (place.downloads == place.store || !work) {
        return;
    }
    for (const char* folder : engineKindOf(place.packaging).downloadFolders) {
        const fs::path from = fs::path(workOf(place.downloads)) / folder;
        fs::recursive_directory_iterator entry(from, failure);
        for (; !failure && entry != fs::recursive_directory_iterator(); entry.increment(failure)) {
            if (isTemporary(entry->path())) {
                entry.disable_recursion_pending();
                continue;
            }
            const std::string to =
                std::string(folder) + "/" + fs::relative(entry->path(), from).string();
            if (entry->is_regular_file() && !entry->is_symlink() &&
                !base::openBelow(work.get(), to, O_RDONLY | O_NONBLOCK)) {
                copyInto(work.get(), entry->path(), to);
            }
        }
    }
}

int removeDownloads(const std::string& store, const std::function<bool(const std::string&)>& drop) {
    std::error_code failure;
    std::vector<fs::path> files;
    for (const EngineKind& kind : engineKinds()) {
        for (const char* folder : kind.downloadFolders) {
            fs::recursive_directory_iterator entry(fs::path(workOf(store)) / folder, failure);
            for (; !failure && entry != fs::recursive_directory_iterator();
                 entry.increment(failure)) {
                const std::string package = kind.packageOfFile(entry->path().filename().string());
                if (entry->is_regular_file() && !package.empty() && drop(package)) {
                    files.push_back(entry->path());
                }
            }
        }
    }
    for (const fs::path& file : files) {
        if (!fs::remove(file, failure) && failure) {
            throw Failure("cannot remove '" + file.string() + "': " + failure.message());
        }
    }
    return static_cast<int>(files.size());
}

std::vector<std::string> storesWithDownloads() {
    std::vector<std::string> stores;
    std::error_code failure;
    const auto add = [&](const fs::path& folder, const auto& accept) {
        for (fs::directory_iterator entry(folder, failure);
             !failure && entry != fs::directory_iterator(); entry.increment(failure)) {
            if (entry->is_directory() && accept(entry->path().filename().string())) {
                stores.push_back(entry->path().string());
            }
        }
    };
    add(fs::path(kStoreDir) / "fetch", [](const std::string&) { return true; });
    add(kStoreDir, [](const std::string& name) {
        return std::all_of(name.begin(), name.end(),
                           [](unsigned char c) { return std::isdigit(c) != 0; });
    });
    std::sort(stores.begin(), stores.end());
    return stores;
}

}  // namespace qxpkg
