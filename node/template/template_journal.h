// The template area's record of intent: it makes the change of several templates one change.
//
// A change is prepared in ".qxtem/staging" of the template area and flushed. It takes effect when
// the journal is written as "pending". After that it is completed by renames, if necessary by the
// next writer after a kill; readers see a pending change as done. After all renames the journal is
// rewritten as "done".
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "layout/paths.h"

namespace QXA::tem {

inline constexpr const char* kTemplateAreaPath = qxnode::kTemplateDir;

/// Folder of the template manager's state in the template area. No template name begins with a dot.
inline constexpr const char* kStatePath = ".qxtem";
inline constexpr const char* kStagingPath = ".qxtem/staging";
inline constexpr const char* kJournalPath = ".qxtem/journal";

/// One rename of a change; paths are relative to the template area.
struct JournalStep {
    enum class Kind {
        place,  ///< `source` (in staging) becomes `target`; an old `target` is moved to staging
        drop,   ///< `target` is moved to `source` (in staging)
    };

    Kind kind = Kind::place;
    ino_t inode = 0;  ///< of the file placed or dropped; shows whether the step is done
    std::string source;
    std::string target;

    bool operator==(const JournalStep&) const = default;
};

struct TemplateJournal {
    std::uint64_t generation = 0;  ///< number of changes; shows readers that one happened meanwhile
    bool pending = false;
    std::vector<JournalStep> steps;

    bool operator==(const TemplateJournal&) const = default;
};

std::string formatJournal(const TemplateJournal& journal);

/// @throws Failure if the text is not a journal.
TemplateJournal parseJournal(std::string_view text);

/// The present journal; a missing one has generation 0 and is done. Repeated calls are cheap.
std::shared_ptr<const TemplateJournal> readJournal(int area);

/// For writers that hold the templates' lock: completes a committed change and removes the remains
/// of one that was not committed. Makes missing state directories.
/// @throws Failure.
void recoverTemplates(int area);

/// A change that is prepared in staging. The destructor removes it from staging unless it may have
/// been committed.
class StagedChange {
public:
    explicit StagedChange(int area) : m_area(area) {}
    ~StagedChange();
    StagedChange(const StagedChange&) = delete;
    StagedChange& operator=(const StagedChange&) = delete;

    /// A new path in staging, relative to the template area.
    std::string newPath();

    /// Commits and completes the change. If it throws, nothing was changed; or, if the journal
    /// could neither be written nor read, the next writer finds out.
    void commit(std::vector<JournalStep> steps);

private:
    int m_area;
    int m_count = 0;
    bool m_mayHold = false;  ///< the change may have been committed
};

}  // namespace QXA::tem
