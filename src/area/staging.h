// A temporary folder for new files of an area.
#pragma once

#include <string>

#include "base/fd.h"
#include "src/area/undo_record.h"

namespace qxfs {

/// A folder of a private area that the container cannot see, so that its names cannot collide with
/// the container's. It exists only during a run and does not even change the times of the private
/// area. The next run removes what a killed run left in it.
class Staging {
public:
    /// @param privateDir  the opened private area; invalid: there is no folder.
    explicit Staging(int privateDir);
    ~Staging();
    Staging(const Staging&) = delete;
    Staging& operator=(const Staging&) = delete;

    /// The folder; -1 if there is none: a file is then made in the directory of its place.
    [[nodiscard]] int folder() const { return m_folder.get(); }

private:
    template <typename Work>
    void withoutTrace(const Work& work) const;

    base::Fd m_privateDir;
    base::Fd m_folder;
};

/// Makes a regular file or symbolic link as the state says and renames it to `name` in an opened
/// directory, which is flushed then. @return false with errno; nothing is left beside.
bool recreate(const Staging& staging, int directory, const std::string& name,
              const PathState& state);

}  // namespace qxfs
