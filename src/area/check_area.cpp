// Walks an area and checks every directory of it.
#include "src/area/check_area.h"

#include <algorithm>
#include <set>

namespace qxfs {

void walkArea(const std::function<DirectoryCheck(const std::string&)>& visit) {
    std::vector<std::string> pending{"/"};
    while (!pending.empty()) {
        const auto path = std::move(pending.back());
        pending.pop_back();
        auto check = visit(path);
        // In reverse order, because the last one is taken first.
        std::reverse(check.subdirectories.begin(), check.subdirectories.end());
        std::move(check.subdirectories.begin(), check.subdirectories.end(),
                  std::back_inserter(pending));
    }
}

namespace {

void count(const DirectoryCheck& check, CheckSummary& summary) {
    ++summary.directories;
    if (check.index.has_value()) {
        ++summary.indexed;
        summary.entries += check.index->entries.size();
    }
    for (const auto& found : check.findings) {
        ++summary.findings;
        if (found.finding.repaired) {
            ++summary.repaired;
        } else if (kindOf(found.finding.code).severity == Severity::note) {
            ++summary.notesLeft;
        } else {
            ++summary.errorsLeft;
        }
    }
}

}  // namespace

CheckSummary checkArea(const Area& area, const RepairPolicy& policy, UndoRecord& undo,
                       const FindingSink& sink, const ProgressSink& progress) {
    CheckSummary summary;
    summary.area = area.name;
    TemplateLookup templates(area, policy.dropMissing);
    std::set<std::string> missing;
    walkArea([&](const std::string& path) {
        auto check = checkDirectory(area, path, templates);
        if (policy.mode != RepairMode::report && !check.findings.empty()) {
            auto failures = DirectoryRepair(area, check, undo).run(policy);
            std::move(failures.begin(), failures.end(), std::back_inserter(summary.failures));
        }
        // Each directory that refers to a missing template reports it; keep only the first report.
        std::erase_if(check.findings, [&](const DirectoryFinding& found) {
            return found.finding.code == FindingCode::templateMissing &&
                   !missing.insert(found.finding.templateFile).second;
        });
        for (const auto& found : check.findings) {
            sink(found.finding);
        }
        count(check, summary);
        progress(summary);
        return check;
    });
    if (undo.hasSteps()) {
        summary.undoRecord = undo.file();
    }
    return summary;
}

}  // namespace qxfs
