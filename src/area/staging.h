// A place for files on their way into an area.
#pragma once

#include <string>

#include "base/fd.h"
#include "src/area/undo_record.h"

namespace qxfs {

/// A folder of a private area, outside of what the container sees: the names in it cannot meet the
/// container's. It is there for as long as a run needs it and leaves no trace, not even in the
/// times of the private area. What a killed run left in it is removed by the next.
class Staging {
public:
    /// @param privateDir  the private area, opened; without one the staging is empty.
    explicit Staging(int privateDir);
    ~Staging();
    Staging(const Staging&) = delete;
    Staging& operator=(const Staging&) = delete;

    /// The folder; -1 when there is none: a file is then made beside its place.
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
