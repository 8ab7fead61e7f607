// Template files by the links that name them: whether they are there, whether their template is,
// and what a link with one changed bit must have been.
#pragma once

#include <sys/stat.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/fd.h"
#include "src/area/area.h"

namespace qxfs {

/// A template file, as far as it is there.
struct TemplateState {
    bool exists = false;
    int failure = 0;  ///< errno when it could not be told whether it is there
    struct stat info {};
};

/// The template file that a link text stands for.
TemplateState lookUpTemplate(const Area& area, const std::string& link);

/// True for two names of one file.
bool isSameFile(const struct stat& a, const struct stat& b);

/// True for a link text that leads out of the template area.
bool leadsOut(const std::string& link);

/// What a link text names within its template, from "/"; "" is the template itself. Most templates
/// hold their files in "root", which is left out.
std::string placeInTemplate(const std::string& link);

/// True for two texts of the same length that differ in a single bit.
bool oneBitApart(std::string_view a, std::string_view b);

/// Answers for one pass over an area and remembers what was asked before: entries of one directory
/// mostly share their link string, and a path of one name is the cheapest to look up.
class TemplateLookup {
public:
    /// @param missingIsLost  a template that is missing as a whole is not told apart from templates
    ///                       that have lost files.
    explicit TemplateLookup(const Area& area, bool missingIsLost = false)
        : m_area(area), m_missingIsLost(missingIsLost) {}

    TemplateState find(const std::string& link, const std::string& name);

    /// The template ("os/1") that a link text refers to, when it is missing as a whole: its
    /// directory is not there, or empty as a place is where nothing is mounted.
    std::optional<std::string> missingTemplate(const std::string& link);

    /// The link texts that differ from `text` in one bit, name a template file that is there, and
    /// are what a text in that place is: of a present template, with the path `ownPath` or the one
    /// that `text` has. A text of a missing template counts as damaged only where nothing else in
    /// the area names that template.
    std::vector<std::string> intended(const std::string& text, const std::string& ownPath);

private:
    bool isMissing(const std::string& name);
    const std::vector<std::string>& present();
    bool isNamedOnce(const std::string& name);

    const Area& m_area;
    bool m_missingIsLost;
    std::string m_link;
    std::optional<base::Fd> m_directory;
    int m_failure = 0;                                   ///< errno of m_directory
    std::map<std::string, bool> m_missing;               ///< templates that were asked for
    std::optional<std::vector<std::string>> m_present;   ///< templates
    std::optional<std::map<std::string, int>> m_counts;  ///< how often the area names a template
};

}  // namespace qxfs
