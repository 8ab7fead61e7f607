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

/// A configuration as it stands in its file. Lines that mean nothing here (comments, parameters of
/// others) are kept as they are and where they are.
///
/// A line is blank, a comment that starts with "#", or NAME="value" with an optional comment behind
/// it. NAME is letters, digits and "_", not beginning with a digit. The value is taken as it
/// stands, without escapes, and so holds no quotation mark; without quotation marks it ends at the
/// first blank. Of several lines with one name the last counts, as everywhere on the node.
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

    /// Whether a value can stand in a line.
    static bool isWritable(std::string_view value);

    /// The last value of the parameter; nullopt when no line names it.
    [[nodiscard]] std::optional<std::string> get(std::string_view name) const;

    /// Number of the parameter's last line, from 1; 0 when no line names it.
    [[nodiscard]] std::size_t lineOf(std::string_view name) const;

    /// Sets a parameter, in its last line or in a new one at the end.
    /// @return false when the value cannot be written (see isWritable) or the name is none.
    bool set(std::string_view name, std::string_view value);

    /// Takes out every line of the parameter.
    void remove(std::string_view name);

    /// Words of TEMPLATES, separated by blanks.
    [[nodiscard]] std::vector<std::string> templates() const;
    bool setTemplates(const std::vector<std::string>& names);

    /// VE_PRIVATE or the node's default, the first "$VEID" replaced by the number.
    [[nodiscard]] std::string privateArea(int veid) const;

    [[nodiscard]] std::string text() const;

    /// Replaces the file durably; mode and owner of an existing one stay. False with `error`, also
    /// for a text that is longer than read() takes.
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
/// sign and no leading zero, so that one container has one name.
std::optional<int> veidOfConfigName(std::string_view fileName);

/// Numbers of the containers that have a configuration in `folder`, the smallest first: where two
/// claim one thing, whoever takes the first takes the same one. On failure those found until then.
std::vector<int> containerNumbers(const std::string& folder, std::error_code& failure);

}  // namespace qxnode
