// Plans the entries that templates put into a container's root, before anything is changed.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "node/agent/tem/area_record.h"

namespace QXA::tem {

/// The container's entry, by path, for an entry of a template.
/// @param templateRoot  the template's files, opened.
/// @throws Failure.
std::map<std::string, AreaEntry> entriesOf(int templateRoot, const QXATemplate& key);

/// A container's root, the records of its templates, and the records to remove.
struct AreaSituation {
    int root = -1;                    ///< the container's root, opened
    std::vector<AreaRecord> leaving;  ///< of templates that are removed or replaced
    std::vector<AreaRecord> staying;
    unsigned nextSaved = 1;  ///< the first free number for a saved file
};

/// True if the container has not changed the entry.
bool standsAsMade(int root, const std::string& path, const AreaEntry& entry);

/// Plans the record of one more template.
/// @param planned  records planned earlier in this change; they have priority.
/// @param force    replace files of the container and save them.
/// @param kept     receives the paths at which the container's own files stay, without the paths
///                 below them.
AreaRecord planTemplate(AreaSituation& situation, const std::vector<AreaRecord>& planned,
                        AreaRecord wanted, bool force, std::vector<std::string>& kept);

}  // namespace QXA::tem
