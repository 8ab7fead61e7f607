// The indexes of a container's area over a change of its templates.
//
// A change works on directories as they are without index, where every reference to a template file
// is a shortcut of its own. So the indexes of the directories that it touches are taken away first
// and made again when it is through, whether it was done or undone.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "node/agent/tem/area_change.h"
#include "node/agent/tem/area_record.h"
#include "node/agent/tem/reporter.h"

namespace QXA::tem {

/// Directories that hold the records' entries; "" is the root.
std::set<std::string> directoriesOf(const std::vector<AreaRecord>& records);

class AreaIndexes {
public:
    /// @param area      borrowed, as is the reporter, which hears what is not indexed and why.
    /// @param name      of the container, for what the reporter hears.
    AreaIndexes(const Area& area, std::string name, const Reporter& reporter)
        : m_area(area), m_name(std::move(name)), m_reporter(reporter) {}

    /// Whether a writer was killed between taking indexes away and making them again.
    [[nodiscard]] bool unfinished() const;

    /// Takes away the indexes of these directories, and of those that an unfinished writer had
    /// begun with. Directories that are not there are passed over.
    /// @param records  of the templates in the container: they tell what shortcuts were.
    /// @throws Failure; what this call did is undone then, as far as it can be.
    void makePlain(const std::set<std::string>& directories,
                   const std::vector<AreaRecord>& records);

    /// Makes the indexes again that makePlain() took away, and new ones for the other directories
    /// that it was given. Never fails: a directory that cannot be indexed keeps its shortcuts, and
    /// after a failure of the system the next writer tries again.
    void makeIndexed();

    /// Indexes the directories of an area that nobody uses yet.
    /// @throws Failure after a failure of the system.
    void makeNewIndexed(const std::set<std::string>& directories);

private:
    void index();
    void remark(const std::string& what) const;

    const Area& m_area;
    std::string m_name;
    const Reporter& m_reporter;
};

/// Indexes what its records say was put into a new area, which stands complete in `directory`.
/// @throws Failure after a failure of the system.
void indexNewArea(int directory, const std::string& name, const Reporter& reporter);

}  // namespace QXA::tem
