// The template area's record of intent: it makes a change of several templates one change.
//
// A change is prepared under ".qxtem/staging" of the template area and flushed. Writing the journal
// as "pending" is the moment at which it holds: from then on it is carried out by renames, now or,
// after a kill, by the next writer; readers that find it pending already see its outcome. When all
// renames are done the journal is rewritten as "done".
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "layout/paths.h"

namespace QXA::tem {

inline constexpr const char* kTemplateAreaPath = qxnode::kTemplateDir;

/// State of the template manager below the template area. No template name begins with a dot.
inline constexpr const char* kStatePath = ".qxtem";
inline constexpr const char* kStagingPath = ".qxtem/staging";
inline constexpr const char* kJournalPath = ".qxtem/journal";

/// One rename of a change; paths are relative to the template area.
struct JournalStep {
    enum class Kind {
        place,  ///< `source` (in staging) becomes `target`, what was there goes to staging
        drop,   ///< `target` goes to `source` (in staging)
    };

    Kind kind = Kind::place;
    ino_t inode = 0;  ///< of what is placed or dropped: tells whether the step is done
    std::string source;
    std::string target;

    bool operator==(const JournalStep&) const = default;
};

struct TemplateJournal {
    std::uint64_t generation = 0;  ///< counts changes; readers see by it that one came between
    bool pending = false;
    std::vector<JournalStep> steps;

    bool operator==(const TemplateJournal&) const = default;
};

std::string formatJournal(const TemplateJournal& journal);

/// @throws Failure when the text is no journal.
TemplateJournal parseJournal(std::string_view text);

/// The journal as it stands; a missing one is that of generation 0, done. Cheap to repeat.
std::shared_ptr<const TemplateJournal> readJournal(int area);

/// For writers, under the templates' lock: finishes a change that was committed and removes what is
/// left of one that was not. Makes the state directories when they are missing.
/// @throws Failure.
void recoverTemplates(int area);

/// A change that is being prepared in staging. Unless it may have been committed, what was staged
/// goes with the object.
class StagedChange {
public:
    explicit StagedChange(int area) : m_area(area) {}
    ~StagedChange();
    StagedChange(const StagedChange&) = delete;
    StagedChange& operator=(const StagedChange&) = delete;

    /// A new path in staging, relative to the template area.
    std::string newPath();

    /// Commits and carries out the change. All or nothing: when it throws, nothing was changed, or
    /// (when the journal can neither be written nor read) the next writer finds out.
    void commit(std::vector<JournalStep> steps);

private:
    int m_area;
    int m_count = 0;
    bool m_mayHold = false;  ///< the journal may name what is staged
};

}  // namespace QXA::tem
