// The template area's record of intent.
#include "node/template/template_journal.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>

#include "base/content.h"
#include "base/durable.h"
#include "base/fd.h"
#include "base/open_below.h"
#include "base/tree.h"
#include "node/support/failure.h"
#include "node/template/entry_path.h"
#include "node/template/record_heading.h"
#include "node/template/version_order.h"

namespace QXA::tem {

using qxnode::Failure;
using qxnode::systemFailure;

namespace {

constexpr const char* kHeading = "qxtem-journal 1";
constexpr const char* kJournalName = "journal";

// Enough for a change of 100 000 templates; a larger file is not a journal.
constexpr std::size_t kMaxJournalSize = std::size_t{64} << 20;

Failure badJournal(const std::string& line) {
    return Failure(std::string(kTemplateAreaPath) + "/" + kJournalPath + ": bad line '" + line +
                   "'");
}

// The paths of steps are renamed later, so none may lead out of the template area.
bool isPlainPath(const std::string& path) {
    try {
        return !path.empty() && checkedEntryPath(path) == path;
    } catch (const Failure&) {
        return false;
    }
}

JournalStep parseStep(const std::string& line) {
    std::istringstream words(line);
    std::string kind;
    JournalStep step;
    if (!(words >> kind >> step.inode >> step.source >> step.target) || !words.eof() ||
        (kind != "place" && kind != "drop") || !isPlainPath(step.source) ||
        !isPlainPath(step.target)) {
        throw badJournal(line);
    }
    step.kind = kind == "place" ? JournalStep::Kind::place : JournalStep::Kind::drop;
    return step;
}

// 0 if the file does not exist.
ino_t inodeOf(int area, const std::string& path) {
    const std::optional<struct stat> st = base::statBelow(area, path);
    if (!st && errno != ENOENT) {
        throw systemFailure("examine", path);
    }
    return st ? st->st_ino : 0;
}

void moveTo(int area, const std::string& from, const std::string& to, unsigned flags) {
    std::string fromName;
    std::string toName;
    const base::Fd fromParent = base::openParent(area, from, fromName);
    const base::Fd toParent = base::openParent(area, to, toName);
    if (!fromParent || !toParent ||
        renameat2(fromParent.get(), fromName.c_str(), toParent.get(), toName.c_str(), flags) != 0) {
        throw systemFailure("move '" + from + "' to", to);
    }
}

// Removes the directory of a template's name with its last version.
bool removeEmptyName(int area, const std::string& target) {
    return unlinkat(area, target.substr(0, target.rfind('/')).c_str(), AT_REMOVEDIR) == 0 ||
           errno == ENOTEMPTY || errno == EEXIST || errno == ENOENT;
}

void place(int area, const JournalStep& step) {
    const ino_t there = inodeOf(area, step.target);
    if (there == step.inode) {
        return;
    }
    if (inodeOf(area, step.source) != step.inode) {
        throw Failure("cannot finish a change of templates: '" + step.source +
                      "' is not what was to become '" + step.target + "'");
    }
    moveTo(area, step.source, step.target, there == 0 ? 0 : RENAME_EXCHANGE);
}

void drop(int area, const JournalStep& step) {
    if (inodeOf(area, step.target) == step.inode) {
        moveTo(area, step.target, step.source, 0);
    }
    if (!removeEmptyName(area, step.target)) {
        throw systemFailure("remove the directory of", step.target);
    }
}

void carryOut(int area, const TemplateJournal& journal) {
    for (const JournalStep& step : journal.steps) {
        step.kind == JournalStep::Kind::place ? place(area, step) : drop(area, step);
    }
    if (syncfs(area) != 0) {
        throw systemFailure("flush", kTemplateAreaPath);
    }
}

bool writeJournal(int area, const TemplateJournal& journal) {
    const base::Fd state = base::openBelow(area, kStatePath, O_RDONLY | O_DIRECTORY);
    return state && base::writeFileDurably(state.get(), kJournalName, formatJournal(journal));
}

// Writes the journal of a change; nullopt if the change has now taken effect.
// @throws Failure if that is not known.
std::optional<Failure> commitFailure(int area, const TemplateJournal& journal) {
    if (writeJournal(area, journal)) {
        return std::nullopt;
    }
    Failure failure = systemFailure("write", std::string(kTemplateAreaPath) + "/" + kJournalPath);
    // A journal that is in place but not flushed counts, because readers use it already.
    if (readJournal(area)->generation == journal.generation) {
        return std::nullopt;
    }
    return failure;
}

// Finds out what will be moved, and does everything that may fail before the change takes effect.
void prepare(int area, TemplateJournal& journal) {
    for (JournalStep& step : journal.steps) {
        const bool places = step.kind == JournalStep::Kind::place;
        step.inode = inodeOf(area, places ? step.source : step.target);
        if (step.inode == 0) {
            throw Failure("cannot change '" + step.target + "': it is gone");
        }
        // An empty directory is not a template for readers.
        const std::size_t slash = step.target.rfind('/');
        if (places && slash != std::string::npos &&
            !base::makeBelow(area, step.target.substr(0, slash))) {
            throw systemFailure("make directory", step.target.substr(0, slash));
        }
    }
    if (syncfs(area) != 0) {
        throw systemFailure("flush", kTemplateAreaPath);
    }
}

void removeEmptyNames(int area, const TemplateJournal& journal) {
    for (const JournalStep& step : journal.steps) {
        removeEmptyName(area, step.target);
    }
}

// The change has already taken effect here, so after a failure the next writer completes it.
void markDone(int area, TemplateJournal journal) {
    journal.pending = false;
    journal.steps.clear();
    if (writeJournal(area, journal)) {
        if (const base::Fd state = base::openBelow(area, kStatePath, O_RDONLY | O_DIRECTORY)) {
            base::removeTree(state.get(), "staging");
        }
    }
}

std::optional<std::string> readJournalText(int area) {
    std::optional<std::string> text = base::readFileBelow(area, kJournalPath, kMaxJournalSize);
    if (!text && errno != ENOENT) {
        throw systemFailure("read", std::string(kTemplateAreaPath) + "/" + kJournalPath);
    }
    return text;
}

}  // namespace

std::string formatJournal(const TemplateJournal& journal) {
    std::ostringstream out;
    out << kHeading << "\ngeneration " << journal.generation << "\nstate "
        << (journal.pending ? "pending" : "done") << "\n";
    for (const JournalStep& step : journal.steps) {
        out << (step.kind == JournalStep::Kind::place ? "place " : "drop ") << step.inode << ' '
            << step.source << ' ' << step.target << "\n";
    }
    return out.str();
}

TemplateJournal parseJournal(std::string_view text) {
    std::istringstream lines{std::string(text)};
    takeHeading(lines, kHeading, std::string(kTemplateAreaPath) + "/" + kJournalPath);
    TemplateJournal journal;
    std::string line;
    std::string word;
    if (!std::getline(lines, line) || !(std::istringstream(line) >> word >> journal.generation) ||
        word != "generation") {
        throw badJournal(line);
    }
    if (!std::getline(lines, line) || (line != "state pending" && line != "state done")) {
        throw badJournal(line);
    }
    journal.pending = line == "state pending";
    while (std::getline(lines, line)) {
        journal.steps.push_back(parseStep(line));
    }
    return journal;
}

std::shared_ptr<const TemplateJournal> readJournal(int area) {
    // Read a journal file only once: each change makes a new file.
    struct Known {
        base::FileId id;
        struct timespec changed {};
        std::shared_ptr<const TemplateJournal> journal;
    };
    static std::mutex mutex;
    static std::optional<Known> known;
    static const auto none = std::make_shared<const TemplateJournal>();

    struct stat st {};
    if (fstatat(area, kJournalPath, &st, AT_SYMLINK_NOFOLLOW) != 0) {
        if (errno == ENOENT) {
            return none;
        }
        throw systemFailure("examine", std::string(kTemplateAreaPath) + "/" + kJournalPath);
    }
    const base::FileId id{st.st_dev, st.st_ino};
    const std::lock_guard guard(mutex);
    if (!known || known->id != id || known->changed.tv_sec != st.st_ctim.tv_sec ||
        known->changed.tv_nsec != st.st_ctim.tv_nsec) {
        const std::optional<std::string> text = readJournalText(area);
        known = Known{id, st.st_ctim,
                      text ? std::make_shared<const TemplateJournal>(parseJournal(*text)) : none};
    }
    return known->journal;
}

namespace {

// Removes the empty name directories of killed writers; a directory with a version is not empty.
void removeNamesWithoutVersion(int area) {
    for (const std::string& name : base::namesIn(area).value_or(std::vector<std::string>{})) {
        if (isValidName(name)) {
            unlinkat(area, name.c_str(), AT_REMOVEDIR);
        }
    }
}

}  // namespace

void recoverTemplates(int area) {
    if (mkdirat(area, kStatePath, 0755) != 0 && errno != EEXIST) {
        throw systemFailure("make directory", std::string(kTemplateAreaPath) + "/" + kStatePath);
    }
    const base::Fd state = base::openBelow(area, kStatePath, O_RDONLY | O_DIRECTORY);
    if (!state) {
        throw systemFailure("open directory", std::string(kTemplateAreaPath) + "/" + kStatePath);
    }
    const auto journal = readJournal(area);
    if (journal->pending) {
        carryOut(area, *journal);
        markDone(area, *journal);
    }
    const base::Fd staging = base::openBelow(state.get(), "staging", O_RDONLY | O_DIRECTORY);
    if (staging && !base::namesIn(staging.get()).value_or(std::vector<std::string>{}).empty()) {
        removeNamesWithoutVersion(area);
    }
    if (!base::removeTree(state.get(), "staging") || mkdirat(state.get(), "staging", 0755) != 0) {
        throw systemFailure("clear", std::string(kTemplateAreaPath) + "/" + kStagingPath);
    }
}

StagedChange::~StagedChange() {
    if (m_mayHold) {
        return;
    }
    if (const base::Fd state = base::openBelow(m_area, kStatePath, O_RDONLY | O_DIRECTORY)) {
        base::removeTree(state.get(), "staging");
    }
}

std::string StagedChange::newPath() {
    return std::string(kStagingPath) + "/" + std::to_string(m_count++);
}

void StagedChange::commit(std::vector<JournalStep> steps) {
    TemplateJournal journal{readJournal(m_area)->generation + 1, true, std::move(steps)};
    try {
        prepare(m_area, journal);
    } catch (const Failure&) {
        removeEmptyNames(m_area, journal);
        throw;
    }
    // If it is unknown whether the journal is in place, the files that it names must stay.
    m_mayHold = true;
    if (const std::optional<Failure> failure = commitFailure(m_area, journal)) {
        m_mayHold = false;
        removeEmptyNames(m_area, journal);
        throw Failure(*failure);
    }
    try {
        carryOut(m_area, journal);
    } catch (const Failure&) {
        // The change has taken effect: readers see it, and the next writer completes it or reports
        // why it cannot.
        return;
    }
    markDone(m_area, journal);
}

}  // namespace QXA::tem
