// Looks up template files by link strings: whether the file and its template exist, and which
// string a link with one changed bit had.
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

/// The result of the look-up of a template file.
struct TemplateState {
    bool exists = false;
    int failure = 0;  ///< errno if it is unknown whether it exists
    struct stat info {};
};

/// Looks up the template file of a link string.
TemplateState lookUpTemplate(const Area& area, const std::string& link);

/// True if both are the same file.
bool isSameFile(const struct stat& a, const struct stat& b);

/// True if a link string leads out of the template area.
bool leadsOut(const std::string& link);

/// The path of a link string inside its template, from "/"; "" is the template itself. The folder
/// "root" of most templates is left out.
std::string placeInTemplate(const std::string& link);

/// True if two texts have the same length and differ in one bit.
bool oneBitApart(std::string_view a, std::string_view b);

/// Look-ups during one pass over an area. It keeps the last directory open, because entries of one
/// directory mostly have the same link string and a path of one name is the fastest to look up.
class TemplateLookup {
public:
    /// @param missingIsLost  report files of a template that does not exist at all as lost files.
    explicit TemplateLookup(const Area& area, bool missingIsLost = false)
        : m_area(area), m_missingIsLost(missingIsLost) {}

    TemplateState find(const std::string& link, const std::string& name);

    /// The template ("os/1") of a link string, if it does not exist at all: its directory is
    /// missing, or empty like a mount point without its file system.
    std::optional<std::string> missingTemplate(const std::string& link);

    /// The possible correct texts for `text`: they differ from it in one bit, name an existing
    /// template file, and have the path `ownPath` or that of `text`. A text of a missing template
    /// counts as damaged only if nothing else in the area names that template.
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
    std::map<std::string, bool> m_missing;               ///< by template, of earlier look-ups
    std::optional<std::vector<std::string>> m_present;   ///< templates
    std::optional<std::map<std::string, int>> m_counts;  ///< how often the area names a template
};

}  // namespace qxfs
