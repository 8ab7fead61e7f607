// Changes the templates in one container's area.
#include "node/agent/tem/area_change.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <optional>
#include <set>
#include <sstream>

#include "base/content.h"
#include "base/durable.h"
#include "base/fd.h"
#include "base/open_below.h"
#include "base/tree.h"
#include "layout/container_config.h"
#include "node/agent/tem/area_steps.h"
#include "node/support/failure.h"
#include "node/template/record_heading.h"

namespace QXA::tem {

using qxnode::Failure;
using qxnode::systemFailure;

namespace {

constexpr const char* kRootName = "root";
constexpr const char* kJournalName = "journal";
constexpr const char* kSavedName = "saved";
constexpr const char* kHeading = "qxtem-area-journal 1";

// Enough for all templates of a configuration, two lines each; a larger file is not a journal.
constexpr std::size_t kMaxJournalSize = 16 * qxnode::ContainerConfig::kMaxBytes;

constexpr std::string_view kNewPrefix = ".new.";

std::string newName(const std::string& record) {
    return std::string(kNewPrefix) + record;
}

// True for names of records that are not in place yet and of unfinished files. Records in place
// begin with a template's name and may end with any version.
bool isLeftOver(const std::string& name) {
    return name.starts_with(kNewPrefix) || (name.starts_with('.') && name.ends_with(".new"));
}

// True if a text of a journal is a valid name of a record, which is opened in the state directory.
bool isRecordName(const std::string& text) {
    return !text.empty() && text.front() != '.' && text.find('/') == std::string::npos;
}

struct AreaJournal {
    std::vector<std::string> leaving;  // names of records
    std::vector<std::string> coming;
    ConfiguredTemplates after;
};

std::string formatJournal(const AreaChange& change) {
    std::ostringstream out;
    out << kHeading << '\n';
    for (const AreaRecord& record : change.leaving) {
        out << "leaving " << recordName(record.key) << '\n';
    }
    for (const AreaRecord& record : change.coming) {
        out << "coming " << recordName(record.key) << '\n';
    }
    out << "os " << change.after.osTemplate << '\n';
    for (const std::string& name : change.after.templates) {
        out << "template " << name << '\n';
    }
    return out.str();
}

AreaJournal parseJournal(const std::string& text) {
    std::istringstream lines(text);
    takeHeading(lines, kHeading, std::string(kAreaStateName) + "/" + kJournalName);
    std::string line;
    AreaJournal journal;
    bool good = true;
    while (good && std::getline(lines, line)) {
        const std::size_t blank = std::min(line.find(' '), line.size());
        const std::string word = line.substr(0, blank);
        const std::string value = line.substr(std::min(blank + 1, line.size()));
        if (word == "os") {
            journal.after.osTemplate = value;
            continue;
        }
        if (word == "template") {
            // Names as configured; those of KR templates, with a dot, may be among them.
            journal.after.templates.push_back(value);
            good = !value.empty();
            continue;
        }
        good = (word == "leaving" || word == "coming") && isRecordName(value);
        if (good) {
            (word == "leaving" ? journal.leaving : journal.coming).push_back(value);
        }
    }
    if (!good) {
        throw Failure(std::string(kAreaStateName) + "/" + kJournalName + ": bad line '" + line +
                      "'");
    }
    return journal;
}

base::Fd openSaved(int state) {
    if (mkdirat(state, kSavedName, 0700) != 0 && errno != EEXIST) {
        throw systemFailure("make directory", std::string(kAreaStateName) + "/" + kSavedName);
    }
    base::Fd saved = base::openBelow(state, kSavedName, O_RDONLY | O_DIRECTORY);
    if (!saved) {
        throw systemFailure("open directory", std::string(kAreaStateName) + "/" + kSavedName);
    }
    return saved;
}

void flush(const Area& area) {
    if (syncfs(area.root()) != 0) {
        throw systemFailure("flush", "the container's area");
    }
}

void removeName(int state, const std::string& name) {
    if (unlinkat(state, name.c_str(), 0) != 0 && errno != ENOENT) {
        throw systemFailure("remove", std::string(kAreaStateName) + "/" + name);
    }
}

void removeLeftOvers(int state) {
    for (const std::string& name : base::namesIn(state).value_or(std::vector<std::string>{})) {
        if (isLeftOver(name)) {
            removeName(state, name);
        }
    }
}

void doSteps(const Area& area, const AreaChange& change) {
    const base::Fd saved = openSaved(area.state());
    for (const AreaStep& step : stepsBetween(change.leaving, change.coming, change.staying)) {
        doStep(area.root(), saved.get(), step);
    }
    flush(area);
}

std::set<unsigned> savedNumbers(const std::vector<AreaRecord>& records) {
    std::set<unsigned> numbers;
    for (const AreaRecord& record : records) {
        for (const auto& [path, entry] : record.entries) {
            if (entry.saved != 0) {
                numbers.insert(entry.saved);
            }
        }
    }
    return numbers;
}

void flushState(const Area& area) {
    if (!base::flushDirectory(area.state())) {
        throw systemFailure("flush", kAreaStateName);
    }
}

void removeJournal(const Area& area) {
    removeName(area.state(), kJournalName);
    flushState(area);
}

bool isThere(int state, const std::string& name) {
    return base::statBelow(state, name).has_value();
}

// The change, from the journal and the records. If the record of a removed template is missing, its
// entries were removed before.
AreaChange loadChange(const Area& area, const AreaJournal& journal) {
    AreaChange change;
    change.after = journal.after;
    for (const std::string& name : journal.leaving) {
        if (isThere(area.state(), name)) {
            change.leaving.push_back(readRecord(area.state(), name));
        }
    }
    for (const std::string& name : journal.coming) {
        const std::optional<std::string> text =
            base::readFileBelow(area.state(), newName(name), std::size_t{1} << 30);
        change.coming.push_back(text ? parseRecord(*text, "template record '" + name + "'")
                                     : readRecord(area.state(), name));
    }
    for (AreaRecord& record : readRecords(area.state())) {
        const std::string name = recordName(record.key);
        const auto names = [&](const std::vector<std::string>& list) {
            return std::find(list.begin(), list.end(), name) != list.end();
        };
        if (!names(journal.leaving) && !names(journal.coming)) {
            change.staying.push_back(std::move(record));
        }
    }
    return change;
}

base::Fd openOrMake(int directory, const char* name, mode_t mode, const std::string& privateArea) {
    const bool made = mkdirat(directory, name, mode) == 0;
    if (!made && errno != EEXIST) {
        throw systemFailure("make directory", privateArea + "/" + name);
    }
    base::Fd fd = base::openBelow(directory, name, O_RDONLY | O_DIRECTORY);
    if (!fd) {
        throw systemFailure("open directory", privateArea + "/" + name);
    }
    return fd;
}

}  // namespace

Area::Area(const std::string& privateArea) {
    m_directory = base::Fd(open(privateArea.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!m_directory) {
        throw systemFailure("open private area", privateArea);
    }
    m_root = openOrMake(m_directory.get(), kRootName, 0755, privateArea);
    m_state = openOrMake(m_directory.get(), kAreaStateName, 0700, privateArea);
}

unsigned Area::nextSaved() const {
    const base::Fd saved = openSaved(m_state.get());
    const std::optional<std::vector<std::string>> names = base::namesIn(saved.get());
    if (!names) {
        throw systemFailure("read directory", std::string(kAreaStateName) + "/" + kSavedName);
    }
    unsigned next = 1;
    for (const std::string& name : *names) {
        unsigned number = 0;
        std::from_chars(name.data(), name.data() + name.size(), number);
        next = std::max(next, number + 1);
    }
    return next;
}

void prepareChange(const Area& area, const AreaChange& change) {
    bool begun = false;
    try {
        for (const AreaRecord& record : change.coming) {
            const std::string name = newName(recordName(record.key));
            if (!base::writeFileDurably(area.state(), name, formatRecord(record), 0600)) {
                throw systemFailure("write", std::string(kAreaStateName) + "/" + name);
            }
        }
        if (!base::writeFileDurably(area.state(), kJournalName, formatJournal(change), 0600)) {
            throw systemFailure("write", std::string(kAreaStateName) + "/" + kJournalName);
        }
        begun = true;
        doSteps(area, change);
    } catch (const Failure&) {
        if (begun) {
            revertChange(area, change);
        } else {
            removeJournal(area);  // in place, perhaps, but not flushed
            removeLeftOvers(area.state());
        }
        throw;
    }
}

void finishChange(const Area& area, const AreaChange& change) {
    const int state = area.state();
    const base::Fd saved = openSaved(state);
    const std::set<unsigned> kept = savedNumbers(change.coming);
    for (const unsigned number : savedNumbers(change.leaving)) {
        if (!kept.contains(number) && !base::removeTree(saved.get(), std::to_string(number))) {
            throw systemFailure("remove", std::string(kAreaStateName) + "/" + kSavedName);
        }
    }
    std::set<std::string> coming;
    for (const AreaRecord& record : change.coming) {
        const std::string name = recordName(record.key);
        coming.insert(name);
        if (renameat2(state, newName(name).c_str(), state, name.c_str(), 0) != 0 &&
            errno != ENOENT) {
            throw systemFailure("rename", std::string(kAreaStateName) + "/" + name);
        }
    }
    for (const AreaRecord& record : change.leaving) {
        if (!coming.contains(recordName(record.key))) {
            removeName(state, recordName(record.key));
        }
    }
    // Without a journal, a record that does not have its final name is left over.
    flushState(area);
    removeJournal(area);
}

void revertChange(const Area& area, const AreaChange& change) {
    const base::Fd saved = openSaved(area.state());
    std::vector<AreaStep> steps = stepsBetween(change.leaving, change.coming, change.staying);
    std::reverse(steps.begin(), steps.end());
    for (const AreaStep& step : steps) {
        undoStep(area.root(), saved.get(), step);
    }
    flush(area);
    // The journal first: without it, the records are only left over and do no harm.
    removeJournal(area);
    removeLeftOvers(area.state());
}

bool isCutShort(const Area& area) {
    return isThere(area.state(), kJournalName);
}

void recoverArea(const Area& area, const ConfiguredTemplates& configured) {
    const std::optional<std::string> text =
        base::readFileBelow(area.state(), kJournalName, kMaxJournalSize);
    if (!text && errno != ENOENT) {
        throw systemFailure("read", std::string(kAreaStateName) + "/" + kJournalName);
    }
    if (text) {
        const AreaJournal journal = parseJournal(*text);
        const AreaChange change = loadChange(area, journal);
        if (configured == journal.after) {
            doSteps(area, change);
            finishChange(area, change);
        } else {
            revertChange(area, change);
        }
    }
    removeLeftOvers(area.state());
}

}  // namespace QXA::tem
