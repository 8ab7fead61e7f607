// Changes the templates in one container's area, completely or not at all.
//
// The journal names the records that are removed and added. A record describes every entry of a
// template, so each step can be done and undone with the records alone. The container's
// configuration is the turning point: if a change was interrupted and the configuration is still
// the old one, the change is undone; if it is the new one, the change is completed.
#pragma once

#include <string>
#include <vector>

#include "base/fd.h"
#include "node/agent/tem/area_record.h"

namespace QXA::tem {

/// The templates in a container's configuration.
struct ConfiguredTemplates {
    std::string osTemplate;              ///< "name/version", "name", ".name" or empty
    std::vector<std::string> templates;  ///< "name/version" or "name"

    bool operator==(const ConfiguredTemplates&) const = default;
};

/// A container's private area, opened by a writer that holds the container's lock.
class Area {
public:
    /// Makes the root and the state directory if they are missing.
    /// @throws Failure.
    explicit Area(const std::string& privateArea);

    [[nodiscard]] int directory() const { return m_directory.get(); }
    [[nodiscard]] int root() const { return m_root.get(); }
    [[nodiscard]] int state() const { return m_state.get(); }

    /// The first number greater than those of all saved files. @throws Failure.
    [[nodiscard]] unsigned nextSaved() const;

private:
    base::Fd m_directory;
    base::Fd m_root;
    base::Fd m_state;
};

/// A change: the records to remove and to add, and the new configuration. The caller writes the
/// configuration after prepareChange() and before finishing.
struct AreaChange {
    std::vector<AreaRecord> leaving;
    std::vector<AreaRecord> coming;
    std::vector<AreaRecord> staying;
    ConfiguredTemplates after;
};

/// Writes the journal and changes the files. If it throws, everything is as before.
void prepareChange(const Area& area, const AreaChange& change);

/// To be called after the configuration was written: puts the records in place and removes what was
/// kept for an undo.
void finishChange(const Area& area, const AreaChange& change);

/// Undoes what prepareChange() did.
void revertChange(const Area& area, const AreaChange& change);

/// True if there is a journal: a change was interrupted, or its remains could not be removed.
bool isCutShort(const Area& area);

/// Completes or undoes what a killed writer left, see above.
/// @param configured  the present configuration.
void recoverArea(const Area& area, const ConfiguredTemplates& configured);

}  // namespace QXA::tem
