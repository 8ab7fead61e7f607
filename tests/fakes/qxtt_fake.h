// A template tools library for tests: it records calls and returns results that the test has set.
// It checks that each result is released exactly once. A test makes one FakeQxtt, which serves all
// calls until it is destroyed.
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

/// A text or a list of texts of the library; without a value it is a null pointer.
using QxttText = std::optional<std::string>;
using QxttTexts = std::optional<std::vector<std::string>>;

/// The text "POISON" for fields that must not be read; a field with a list has a list of it.
char* poison();

/// The reader of a template's record; it decides which fields may be read.
enum class TemplateReader { kDescription, kListing, kPackageLists };

/// The record with poison in every field that its reader must not read.
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

/// A result that was returned to a caller, with all memory that it points to.
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

    /// The present object; null if there is none.
    static FakeQxtt* current();

    /// Calls that begin with `start`, in order.
    [[nodiscard]] std::vector<std::string> callsOf(const std::string& start) const;

    // The calls in order: "function argument ... [options]". Options are the words that differ from
    // the defaults: "[default 8=0x1 ...]".
    std::vector<std::string> calls;

    // Each call takes its code from the front of the function's queue; 0 if that is empty. A query
    // that fails leaves an invalid pointer.
    std::map<std::string, std::deque<int>> codes;

    // Results; without a value they are null arrays and null texts.
    std::optional<std::vector<QxttPackage>> packageInfos;
    std::map<std::string, QxttTemplate> templates;  ///< by the requested name
    QxttTexts osTemplates;
    std::map<std::string, std::vector<QxttTemplate>> templateLists;  ///< by OS template
    std::optional<std::vector<QxttTemplate>> veTemplates;
    std::optional<std::vector<QxttEntry>> templatePackages;
    std::optional<std::vector<QxttEntry>> vePackages;
    QxttText veOsTemplate;
    int veStatus = 0;

    // Results: how many were returned, and how many were released correctly.
    int handedOut = 0;
    int released = 0;
    std::vector<std::string> faults;  ///< releases of memory that is not, or no longer, a result

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
