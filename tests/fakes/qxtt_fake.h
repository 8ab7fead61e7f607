// A scripted, recording template tools library. It knows which results it handed out and which came
// back: every one has to, once. A test makes one FakeQxtt, which serves all calls until it goes.
#pragma once

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "qxtt/qxtt.h"

namespace fakes {

/// A text or a list of texts as the library has them; without a value it is a null pointer.
using QxttText = std::optional<std::string>;
using QxttTexts = std::optional<std::vector<std::string>>;

/// The text "POISON", which a field holds that nobody may read; a field that is a list holds a list
/// of it.
char* poison();

/// Who reads a template's record, and thereby which fields may be read.
enum class TemplateReader { kDescription, kListing, kPackageLists };

/// The record with poison in every field that its reader must leave alone.
tmpl_info poisoned(const tmpl_info& record, TemplateReader reader);

// Members have initializers so that tests can name only what they need.
struct QxttPackage {
    QxttText name{};
    QxttText version{};
    QxttText architecture{};
    QxttText summary{};
    QxttTexts description{};
};

struct QxttTemplate {
    QxttText name{};
    bool isOs = false;
    QxttText osName{};
    QxttText architecture{};
    QxttText configPath{};
    QxttText summary{};
    QxttTexts description{};
    QxttTexts basePackages{};
    QxttTexts lateBasePackages{};
    QxttTexts packages{};
    QxttTexts technologies{};
    QxttText cached{};
    bool hasInfo = true;  ///< in a listing; an entry without has a null pointer
};

struct QxttEntry {
    QxttText name{};
    QxttText architecture{};
    QxttText version{};
    QxttText summary{};
};

/// A result that was handed out, with all memory that it points to.
struct QxttResultMemory {
    std::deque<std::string> texts;
    std::deque<std::vector<void*>> arrays;
    std::deque<tmpl_info> templates;
    std::deque<templateListEntry> entries;
    std::deque<pkg_info> packages;
};

class FakeQxtt {
public:
    FakeQxtt();
    ~FakeQxtt();
    FakeQxtt(const FakeQxtt&) = delete;
    FakeQxtt& operator=(const FakeQxtt&) = delete;

    /// The one that serves calls now; null when there is none.
    static FakeQxtt* current();

    /// Calls that begin with `start`, in order.
    [[nodiscard]] std::vector<std::string> callsOf(const std::string& start) const;

    // What was called, oldest first: "function argument ... [options]". Options are named by the
    // words that differ from what the record was filled with: "[default 8=0x1 ...]".
    std::vector<std::string> calls;

    // Codes are taken from the front of a function's queue; an empty one answers 0. A query that
    // fails leaves a pointer that nobody may follow.
    std::map<std::string, std::deque<int>> codes;

    // Answers; without a value they are null arrays and null texts.
    std::optional<std::vector<QxttPackage>> packageInfos;
    std::map<std::string, QxttTemplate> templates;  ///< by the name that is asked for
    QxttTexts osTemplates;
    std::map<std::string, std::vector<QxttTemplate>> templateLists;  ///< by OS template asked for
    std::optional<std::vector<QxttTemplate>> veTemplates;
    std::optional<std::vector<QxttEntry>> templatePackages;
    std::optional<std::vector<QxttEntry>> vePackages;
    QxttText veOsTemplate;
    int veStatus = 0;

    // Results: how many were handed out, and how many came back as they should.
    int handedOut = 0;
    int released = 0;
    std::vector<std::string> faults;  ///< releases of what was not, or no longer, handed out

    // For the functions of the library.
    int answer(const std::string& function);
    void keep(const void* key, std::unique_ptr<QxttResultMemory> memory);
    void clean(const std::string& function, const void* key);
    void handOutBlock(void* block);
    void freed(void* block);

private:
    std::map<const void*, std::unique_ptr<QxttResultMemory>> m_live;
    std::set<const void*> m_blocks;
};

}  // namespace fakes
