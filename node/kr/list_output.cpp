// Records and fields of an engine's list; see list_output.h.
#include "node/kr/list_output.h"

#include <algorithm>
#include <array>
#include <utility>

#include "node/kr/text.h"
#include "node/support/failure.h"
#include "qxtt/qxtt.h"

namespace qxnode {

namespace {

enum Field : std::size_t { state, name, architecture, version, summary, description, fieldCount };

/// rpm prints this for a tag that a package does not have.
constexpr std::string_view kNoTag = "(none)";

Failure malformed() {
    return {QXTT_E_BAD_DATABASE, "the engine's list of packages makes no sense"};
}

std::string known(std::string_view text) {
    return text == kNoTag ? std::string() : std::string(text);
}

}  // namespace

void ListOutput::add(std::string_view line) {
    m_bytes += line.size() + 1;
    if (m_bytes > kMaxBytes) {
        throw Failure(QXTT_E_BAD_DATABASE, "the engine's list of packages has no end");
    }
    if (!line.empty() && line.front() == kRecordMark) {
        finish();
        m_inRecord = true;
        m_record = line.substr(1);
    } else if (m_inRecord) {
        m_record += '\n';
        m_record += line;
    } else {
        throw malformed();
    }
}

void ListOutput::finish() {
    if (std::exchange(m_inRecord, false)) {
        takeRecord();
    }
}

void ListOutput::takeRecord() {
    std::array<std::string_view, fieldCount> fields;
    std::string_view rest = m_record;
    for (std::size_t i = 0; i + 1 < fields.size(); ++i) {
        const std::size_t end = rest.find(kFieldMark);
        if (end == std::string_view::npos) {
            throw malformed();
        }
        fields[i] = rest.substr(0, end);
        rest.remove_prefix(end + 1);
    }
    fields[description] = rest;
    if (fields[name].empty()) {
        throw malformed();
    }
    Package package;
    package.state = fields[state];
    package.name = fields[name];
    package.architecture = known(fields[architecture]);
    package.version = known(fields[version]);
    package.summary = oneLine(known(fields[summary]));
    package.description = linesOf(known(fields[description]));
    m_onPackage(std::move(package));
}

}  // namespace qxnode
