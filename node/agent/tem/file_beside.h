// A file that takes its place when it is whole.
#pragma once

#include <string>

#include "base/fd.h"

namespace QXA::tem {

/// A file under a temporary name beside its place, removed again unless it was renamed. Its name
/// ends as the final one does, since the ending may choose a compression. Throws Failure
/// kTemFailed.
class FileBeside {
public:
    explicit FileBeside(const std::string& path);
    ~FileBeside();
    FileBeside(const FileBeside&) = delete;
    FileBeside& operator=(const FileBeside&) = delete;

    [[nodiscard]] int get() const { return m_fd.get(); }

    /// Flushes it and gives it its name.
    void finish();

private:
    std::string m_path;
    std::string m_folder;
    std::string m_beside;
    base::Fd m_fd;
    bool m_renamed = false;
};

}  // namespace QXA::tem
