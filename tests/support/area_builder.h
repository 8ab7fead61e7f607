// Builds template areas and container areas, entry by entry or from a seed, for tests, fuzzing and
// benchmarks.
#pragma once

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace qx_test {

/// A template area and a container's private area in one folder.
///
///   <folder>/template/os/1/root/...   template files
///   <folder>/area/root/...            the container's files
class AreaBuilder {
public:
    explicit AreaBuilder(std::string folder);

    [[nodiscard]] std::string templateRoot() const { return m_folder + "/template"; }
    [[nodiscard]] std::string privateDir() const { return m_folder + "/area"; }
    [[nodiscard]] std::string root() const { return privateDir() + "/root"; }
    /// Absolute path of a file of the template.
    [[nodiscard]] std::string templateFile(const std::string& path) const;
    /// Its link string.
    static std::string linkTo(const std::string& path) { return "////os/1/root/" + path; }

    // Each function makes missing directories. Paths are relative to the root.
    void directory(const std::string& path);
    void file(const std::string& path, const std::string& content);
    void templateOnly(const std::string& path, const std::string& content, unsigned mode = 0644);
    void shortcut(const std::string& path, const std::string& content, unsigned mode = 0644);
    void magicSymlink(const std::string& path, const std::string& content);
    void symlink(const std::string& path, const std::string& target);
    void hardLink(const std::string& path, const std::string& existing);
    void fifo(const std::string& path);

    /// Fills the area from a seed.
    struct Shape {
        unsigned directories = 8;
        unsigned entries = 12;     ///< in a directory, at most
        bool specialFiles = true;  ///< files because of which a directory is not indexed
        bool hardLinks = true;
        bool anyBytes = true;  ///< names with any bytes that are allowed
    };
    void fill(std::uint64_t seed, const Shape& shape);

    /// Everything that a container sees, by path: content of files, "-> target" of links, "dir".
    using Content = std::map<std::string, std::string>;
    [[nodiscard]] const Content& expected() const { return m_expected; }

private:
    std::string m_folder;
    Content m_expected;
};

/// A text with name, type, mode, owner, times and content of everything in a tree.
std::map<std::string, std::string> snapshot(const std::string& folder);

}  // namespace qx_test
