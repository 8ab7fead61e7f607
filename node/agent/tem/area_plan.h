// Plans what templates put into a container's root, before anything is changed.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "node/agent/tem/area_record.h"

namespace QXA::tem {

/// What an entry of a template becomes in a container, by path.
/// @param templateRoot  the template's files, opened.
/// @throws Failure.
std::map<std::string, AreaEntry> entriesOf(int templateRoot, const QXATemplate& key);

/// A container's root as the records say it was made, and what comes and goes.
struct AreaSituation {
    int root = -1;                    ///< the container's root, opened
    std::vector<AreaRecord> leaving;  ///< of templates that are removed or replaced
    std::vector<AreaRecord> staying;
    unsigned nextSaved = 1;  ///< first number that no saved file has
};

/// Whether the entry stands in the container as it was put there.
bool standsAsMade(int root, const std::string& path, const AreaEntry& entry);

/// Plans the record of one more template.
/// @param planned  records already planned in this change; they come before this one.
/// @param force    files of the container make way, and are saved.
/// @param kept     gets the paths that stay as the container has them, without what would lie
///                 below them.
AreaRecord planTemplate(AreaSituation& situation, const std::vector<AreaRecord>& planned,
                        AreaRecord wanted, bool force, std::vector<std::string>& kept);

}  // namespace QXA::tem
