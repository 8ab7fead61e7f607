// Resolves the targets of a command.
#include "tools/qxa/targets.h"

#include <fnmatch.h>

#include <algorithm>
#include <utility>

namespace qxa {

namespace {

Target containerTarget(const QXA::QXAEnvRecord& record) {
    return {std::to_string(record.veid), record.eid, false, true, record};
}

Target unknownTarget(const std::string& label, const QXL::QXLEID& eid) {
    return {label, eid, false, false, {}};
}

std::vector<std::string> splitAtCommas(const std::vector<std::string>& words) {
    std::vector<std::string> parts;
    for (const auto& word : words) {
        std::size_t start = 0;
        while (start <= word.size()) {
            const auto comma = std::min(word.find(',', start), word.size());
            if (comma > start) {
                parts.push_back(word.substr(start, comma - start));
            }
            start = comma + 1;
        }
    }
    return parts;
}

/// Adds the containers whose number matches and that are not in the list. @return true if any
/// match.
bool addMatching(const std::string& pattern, const std::vector<QXA::QXAEnvRecord>& containers,
                 std::vector<Target>& targets) {
    bool any = false;
    for (const auto& record : containers) {
        const auto label = std::to_string(record.veid);
        if (fnmatch(pattern.c_str(), label.c_str(), 0) != 0) {
            continue;
        }
        any = true;
        const bool there = std::any_of(targets.begin(), targets.end(), [&](const Target& target) {
            return target.known && target.record.veid == record.veid;
        });
        if (!there) {
            targets.push_back(containerTarget(record));
        }
    }
    return any;
}

}  // namespace

std::vector<Target> targetsOf(const TargetOptions& options,
                              const std::vector<QXA::QXAEnvRecord>& containers) {
    if (options.node()) {
        return {{"node", QXL::QXLEID::EID_LOCAL, true, true, {}}};
    }
    std::vector<Target> targets;
    if (options.allContainers) {
        addMatching("*", containers, targets);
    }
    for (const auto& word : splitAtCommas(options.containers)) {
        if (!addMatching(word, containers, targets)) {
            targets.push_back(unknownTarget(word, QXL::QXLEID::EID_INVALID));
        }
    }
    for (const auto& word : splitAtCommas(options.eids)) {
        const auto eid = QXL::QXLEID::fromString(word);
        const auto found =
            std::find_if(containers.begin(), containers.end(),
                         [&](const QXA::QXAEnvRecord& record) { return record.eid == eid; });
        if (found == containers.end()) {
            targets.push_back(unknownTarget(word, eid));
        } else {
            addMatching(std::to_string(found->veid), containers, targets);
        }
    }
    std::stable_sort(targets.begin(), targets.end(), [](const Target& a, const Target& b) {
        return std::pair(!a.known, a.record.veid) < std::pair(!b.known, b.record.veid);
    });
    return targets;
}

}  // namespace qxa
