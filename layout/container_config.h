// A container's configuration file: lines NAME="value", read and written.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace qxnode {

/// Names of the parameters that this node reads.
namespace parameter {
inline constexpr const char* kPrivateArea = "VE_PRIVATE";
inline constexpr const char* kOsTemplate = "OSTEMPLATE";
inline constexpr const char* kTemplates = "TEMPLATES";
inline constexpr const char* kEid = "EID";
inline constexpr const char* kParentEid = "PARENT_EID";
inline constexpr const char* kType = "VE_TYPE";
}  // namespace parameter

/// The lines of a configuration file. Comments and parameters of other programs are kept unchanged
/// and in their place.
///
/// A line is blank, a comment that begins with "#", or NAME="value" with an optional comment after
/// it. NAME consists of letters, digits and "_" and does not begin with a digit. There are no
/// escapes, so a value cannot contain a quotation mark; a value without quotation marks ends at the
/// first blank. If several lines have the same name, the last one counts.
class ContainerConfig {
public:
    static constexpr std::size_t kMaxBytes = 1U << 20;
    static constexpr std::size_t kMaxLines = 10000;

    ContainerConfig() = default;

    /// @param source  the file's name for messages.
    /// @return nullopt with "FILE:LINE: reason" in `error`.
    static std::optional<ContainerConfig> parse(std::string_view text, const std::string& source,
                                                std::string& error);

    /// @return nullopt with the reason in `error`: unreadable, too long, or as parse().
    static std::optional<ContainerConfig> read(const std::string& path, std::string& error);

    /// True if the value can be written into a line.
    static bool isWritable(std::string_view value);

    /// The last value of the parameter; nullopt if no line has it.
    [[nodiscard]] std::optional<std::string> get(std::string_view name) const;

    /// Number of the parameter's last line, from 1; 0 if no line has it.
    [[nodiscard]] std::size_t lineOf(std::string_view name) const;

    /// Sets a parameter, in its last line or in a new one at the end.
    /// @return false if the value cannot be written (see isWritable) or the name is invalid.
    bool set(std::string_view name, std::string_view value);

    /// Removes every line of the parameter.
    void remove(std::string_view name);

    /// Words of TEMPLATES, separated by blanks.
    [[nodiscard]] std::vector<std::string> templates() const;
    bool setTemplates(const std::vector<std::string>& names);

    /// VE_PRIVATE or the node's default, the first "$VEID" replaced by the number.
    [[nodiscard]] std::string privateArea(int veid) const;

    [[nodiscard]] std::string text() const;

    /// Replaces the file durably; an existing file keeps mode and owner. False with `error`, also
    /// if the text is longer than read() accepts.
    bool write(const std::string& path, std::string& error) const;

private:
    struct Line {
        std::string raw;   ///< as in the file, without its end
        std::string name;  ///< empty: no parameter
        std::string value;
    };

    static bool parseLine(std::string_view raw, Line& line, std::string& reason);

    std::vector<Line> m_lines;
};

/// The number in a configuration's file name ("101.conf"); nullopt for other names. Numbers have no
/// sign and no leading zero, so that each container has only one file name.
std::optional<int> veidOfConfigName(std::string_view fileName);

/// Numbers of the containers that have a configuration in `folder`, sorted: if two containers have
/// the same EID, every caller takes the same one. On failure the numbers found so far.
std::vector<int> containerNumbers(const std::string& folder, std::error_code& failure);

}  // namespace qxnode
