// Text and JSON of everything that qxfsutil reports.
#include "tools/qxfsutil/report.h"

#include <cstdio>
#include <nlohmann/json.hpp>

#include "base/escape.h"
#include "src/qxfsutil.h"
#include "tools/qxfsutil/exit_code.h"

namespace qxfsutil {

namespace {

using Json = nlohmann::ordered_json;

/// Converts any bytes into a text for JSON, so that different bytes give different texts.
void makeReversible(Json& json) {
    if (json.is_string()) {
        json = base::reversible(json.get_ref<const std::string&>());
    } else if (json.is_structured()) {
        for (auto& part : json) {
            makeReversible(part);
        }
    }
}

std::string line(Json json) {
    makeReversible(json);
    return json.dump() + '\n';
}

std::string modeText(mode_t mode) {
    constexpr const char* bits = "rwxrwxrwx";
    std::string text = type_str(mode >> 12 & 15);
    for (int bit = 0; bit < 9; ++bit) {
        text += (mode & (0400U >> bit)) != 0 ? bits[bit] : '-';
    }
    return text;
}

}  // namespace

std::string findingAsText(const std::string& area, const qxfs::Finding& finding) {
    const auto& kind = qxfs::kindOf(finding.code);
    std::string text =
        area + ": " + qxfs::severityName(kind.severity) + ": " + qxfs::describe(finding);
    if (finding.repaired) {
        text += ": repaired";
    } else if (kind.repair[0] != '\0') {
        text += std::string("; a repair would: ") + kind.repair;
    }
    return base::printable(text) + '\n';
}

std::string findingAsJson(const std::string& area, const qxfs::Finding& finding) {
    const auto& kind = qxfs::kindOf(finding.code);
    return line({{"area", area},
                 {"finding", kind.name},
                 {"severity", qxfs::severityName(kind.severity)},
                 {"path", finding.path},
                 {"template", finding.templateFile},
                 {"text", kind.text},
                 {"detail", finding.detail},
                 {"repair", kind.repair},
                 {"preen", kind.preen},
                 {"repaired", finding.repaired}});
}

std::string kindAsText(const qxfs::FindingKind& kind) {
    char text[512];
    std::snprintf(text, sizeof text, "%-24s %-8s %s\n%-24s %-8s %s\n", kind.name,
                  qxfs::severityName(kind.severity), kind.text, "", kind.preen ? "preen" : "",
                  kind.repair[0] == '\0' ? "cannot be repaired" : kind.repair);
    return text;
}

std::string kindAsJson(const qxfs::FindingKind& kind) {
    return line({{"finding", kind.name},
                 {"severity", qxfs::severityName(kind.severity)},
                 {"text", kind.text},
                 {"repair", kind.repair},
                 {"preen", kind.preen}});
}

std::string summaryAsText(const qxfs::CheckSummary& summary) {
    const auto left = summary.findings - summary.repaired;
    std::string text = summary.area + ": " + std::to_string(summary.directories) +
                       " directories, " + std::to_string(summary.indexed) + " indexed with " +
                       std::to_string(summary.entries) + " entries: ";
    if (summary.findings == 0) {
        text += "clean";
    } else {
        text += std::to_string(summary.findings) + " findings, " +
                std::to_string(summary.repaired) + " repaired, " + std::to_string(left) + " left";
    }
    if (!summary.undoRecord.empty()) {
        text += "; undo with: qxfsutil undo " + summary.undoRecord;
    }
    return base::printable(text) + '\n';
}

std::string summaryAsJson(const qxfs::CheckSummary& summary) {
    return line({{"area", summary.area},
                 {"summary",
                  {{"directories", summary.directories},
                   {"indexed", summary.indexed},
                   {"entries", summary.entries},
                   {"findings", summary.findings},
                   {"repaired", summary.repaired},
                   {"errorsLeft", summary.errorsLeft},
                   {"notesLeft", summary.notesLeft},
                   {"failures", summary.failures},
                   {"undoRecord", summary.undoRecord},
                   {"exit", static_cast<int>(exitCodeOf(summary))}}}});
}

std::string indexedAsText(const std::string& area, const qxfs::IndexOutcome& outcome) {
    std::string text = base::printable(area) + ": " + qxfs::indexResultName(outcome.result) + ": " +
                       dirindex::escaped(outcome.path) + '\n';
    for (const auto& reason : outcome.reasons) {
        text += "    " + base::printable(reason) + '\n';
    }
    return text;
}

std::string indexedAsJson(const std::string& area, const qxfs::IndexOutcome& outcome) {
    return line({{"area", area},
                 {"path", outcome.path},
                 {"result", qxfs::indexResultName(outcome.result)},
                 {"reasons", outcome.reasons}});
}

std::string statAsText(const std::string& name, const dirindex::IndexStat& stat) {
    char text[1024];
    std::snprintf(text, sizeof text,
                  "  %-18s %llu bytes\n  %-18s %llu (%llu directories, %llu from templates)\n"
                  "  %-18s %llu\n  %-18s %u, %u used, longest chain %u\n  %-18s %llu bytes\n"
                  "  %-18s %.1f\n  %-18s %s\n",
                  "size", static_cast<unsigned long long>(stat.size), "entries",
                  static_cast<unsigned long long>(stat.entries),
                  static_cast<unsigned long long>(stat.directories),
                  static_cast<unsigned long long>(stat.linked), "link strings",
                  static_cast<unsigned long long>(stat.links), "buckets", stat.buckets,
                  stat.usedBuckets, stat.longestChain, "gaps",
                  static_cast<unsigned long long>(stat.gapBytes), "bytes per entry",
                  stat.bytesPerEntry, "checksum", dirindex::checksumName(stat.checksum));
    return base::printable(name) + "\n" + text;
}

std::string statAsJson(const std::string& name, const dirindex::IndexStat& stat) {
    return line({{"index", name},
                 {"size", stat.size},
                 {"entries", stat.entries},
                 {"directories", stat.directories},
                 {"linked", stat.linked},
                 {"links", stat.links},
                 {"buckets", stat.buckets},
                 {"usedBuckets", stat.usedBuckets},
                 {"longestChain", stat.longestChain},
                 {"gapBytes", stat.gapBytes},
                 {"bytesPerEntry", stat.bytesPerEntry},
                 {"checksum", dirindex::checksumName(stat.checksum)}});
}

std::string entriesAsJson(const std::string& name,
                          const std::vector<dirindex::IndexEntry>& entries) {
    auto list = Json::array();
    for (const auto& entry : entries) {
        list.push_back({{"name", entry.name},
                        {"type", type_str(entry.type)},
                        {"ino", entry.ino},
                        {"link", entry.link.has_value() ? Json(*entry.link) : Json(nullptr)}});
    }
    return line({{"index", name}, {"entries", std::move(list)}});
}

std::string seenAsText(const qxfs::SeenEntry& entry) {
    std::string text = modeText(entry.resolved.info.st_mode) + ' ' +
                       std::to_string(entry.resolved.info.st_size) + ' ' +
                       dirindex::escaped(entry.name);
    if (!entry.target.empty()) {
        text += " -> " + dirindex::escaped(entry.target);
    }
    if (entry.resolved.fromTemplate) {
        text += " [template " + dirindex::escaped(entry.resolved.file) + "]";
    }
    return text + '\n';
}

std::string seenAsJson(const qxfs::SeenEntry& entry) {
    const auto& info = entry.resolved.info;
    return line({{"name", entry.name},
                 {"type", type_str(info.st_mode >> 12 & 15)},
                 {"mode", info.st_mode & 07777},
                 {"uid", info.st_uid},
                 {"gid", info.st_gid},
                 {"size", info.st_size},
                 {"target", entry.target},
                 {"template", entry.resolved.fromTemplate ? entry.resolved.file : ""}});
}

std::string templateAsJson(const std::string& file) {
    return line({{"template", file}});
}

std::string undoneAsJson(const std::string& area, std::size_t changes) {
    return line({{"area", area}, {"undone", changes}});
}

std::string clonedAsJson(const std::string& area, std::uint64_t changed) {
    return line({{"area", area}, {"changed", changed}});
}

std::string noteAsJson(const std::string& what, const std::string& message) {
    return line({{"note", what}, {"message", message}});
}

std::string failureAsJson(const std::string& what, const std::string& message) {
    return line({{"failed", what}, {"message", message}});
}

}  // namespace qxfsutil
