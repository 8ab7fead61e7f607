// Undo records: what is read of one can be written down again and means the same.
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "base/fd.h"
#include "src/area/undo_record.h"

namespace {

/// A file in memory. Each use begins with an empty one.
class MemoryFile {
public:
    MemoryFile() : m_file(memfd_create("undo", MFD_CLOEXEC)) {}

    [[nodiscard]] std::string path() const {
        return "/proc/self/fd/" + std::to_string(m_file.get());
    }

    void fill(const void* bytes, std::size_t size) const {
        if (!m_file || write(m_file.get(), bytes, size) != static_cast<ssize_t>(size)) {
            std::abort();
        }
    }

private:
    base::Fd m_file;
};

/// A place for records, which are made where nothing is yet.
class Scratch {
public:
    Scratch() {
        if (mkdtemp(m_folder.data()) == nullptr) {
            std::abort();
        }
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    ~Scratch() {
        unlink(file().c_str());
        rmdir(m_folder.c_str());
    }

    [[nodiscard]] std::string file() const { return m_folder + "/record"; }

private:
    std::string m_folder = "/tmp/qx-fuzz-XXXXXX";
};

bool same(const qxfs::PathState& a, const qxfs::PathState& b) {
    const auto sameTime = [](const timespec& x, const timespec& y) {
        return x.tv_sec == y.tv_sec && x.tv_nsec == y.tv_nsec;
    };
    return a.kind == b.kind && a.mode == b.mode && a.uid == b.uid && a.gid == b.gid &&
           sameTime(a.accessed, b.accessed) && sameTime(a.modified, b.modified) &&
           a.content == b.content;
}

bool same(const qxfs::UndoStep& a, const qxfs::UndoStep& b) {
    return a.kind == b.kind && a.path == b.path && a.movedTo == b.movedTo &&
           a.madeDirectories == b.madeDirectories && same(a.state, b.state) &&
           same(a.parent, b.parent);
}

/// Writes the changes as a repair does, and reads them.
qxfs::RecordedChanges writtenAndRead(const qxfs::RecordedChanges& changes) {
    static const Scratch scratch;
    const std::string file = scratch.file();
    unlink(file.c_str());
    qxfs::UndoRecord record;
    std::string error;
    bool done = record.open(file, changes.area, error);
    for (const auto& step : changes.steps) {
        done = done && record.add(step);
    }
    qxfs::RecordedChanges read;
    if (!done || !qxfs::readRecord(file, read, error)) {
        std::abort();
    }
    return read;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const MemoryFile input;
    input.fill(data, size);
    qxfs::RecordedChanges changes;
    std::string error;
    if (!qxfs::readRecord(input.path(), changes, error)) {
        if (error.empty()) {
            std::abort();
        }
        return 0;
    }
    const qxfs::RecordedChanges again = writtenAndRead(changes);
    if (again.area != changes.area || again.steps.size() != changes.steps.size()) {
        std::abort();
    }
    for (std::size_t i = 0; i < changes.steps.size(); ++i) {
        if (!same(again.steps[i], changes.steps[i])) {
            std::abort();
        }
    }
    return 0;
}
