// Carries out a change of the templates in one container's area, so that it is done or undone as a
// whole.
//
// The journal names which records leave and which come; the records say what every entry was and
// will be, so each step can be done and undone again from them alone. The container's configuration
// is the turning point: found still as before, a change that was cut short is undone; found as it
// is to become, it is finished.
#pragma once

#include <string>
#include <vector>

#include "base/fd.h"
#include "node/agent/tem/area_record.h"

namespace QXA::tem {

/// What a container's configuration says about templates.
struct ConfiguredTemplates {
    std::string osTemplate;              ///< "name/version", "name", ".name" or empty
    std::vector<std::string> templates;  ///< "name/version" or "name"

    bool operator==(const ConfiguredTemplates&) const = default;
};

/// A container's private area, opened for a writer that holds the container's lock.
class Area {
public:
    /// Makes the root and the state directory when they are missing.
    /// @throws Failure.
    explicit Area(const std::string& privateArea);

    [[nodiscard]] int directory() const { return m_directory.get(); }
    [[nodiscard]] int root() const { return m_root.get(); }
    [[nodiscard]] int state() const { return m_state.get(); }

    /// First number above those of all saved files. @throws Failure.
    [[nodiscard]] unsigned nextSaved() const;

private:
    base::Fd m_directory;
    base::Fd m_root;
    base::Fd m_state;
};

/// A change: what leaves, what comes, what the configuration becomes. The configuration is written
/// by the caller, between prepare and finish.
struct AreaChange {
    std::vector<AreaRecord> leaving;
    std::vector<AreaRecord> coming;
    std::vector<AreaRecord> staying;
    ConfiguredTemplates after;
};

/// Writes the journal and changes the files. When it throws, everything is as before.
void prepareChange(const Area& area, const AreaChange& change);

/// After the configuration was written: puts the records in place and drops what was kept for
/// undoing.
void finishChange(const Area& area, const AreaChange& change);

/// Undoes what prepareChange() did.
void revertChange(const Area& area, const AreaChange& change);

/// Whether a change's journal stands: it was cut short, or could not be tidied up.
bool isCutShort(const Area& area);

/// Finishes or undoes what a killed writer left, see above.
/// @param configured  what the configuration says now.
void recoverArea(const Area& area, const ConfiguredTemplates& configured);

}  // namespace QXA::tem
