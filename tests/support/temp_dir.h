// A temporary directory of a test; the destructor removes it with its contents.
#ifndef TESTS_SUPPORT_TEMP_DIR_H
#define TESTS_SUPPORT_TEMP_DIR_H

#include <filesystem>
#include <string>
#include <string_view>

namespace qx_test {

class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    std::string path() const { return path_.string(); }
    std::string path(std::string_view name) const { return (path_ / name).string(); }

    // Writes a file, makes missing directories, and returns its path.
    std::string write(std::string_view name, std::string_view content) const;
    // Makes a directory and its missing parents, and returns its path.
    std::string make_dir(std::string_view name) const;
    // Makes a symbolic link and missing directories, and returns its path.
    std::string make_link(std::string_view name, std::string_view target) const;

private:
    std::filesystem::path path_;
};

// The whole content of a file; a missing one fails the test.
std::string read_file(const std::string& path);

// Enters a directory; the destructor returns to the previous one.
class WorkingDirectory {
public:
    explicit WorkingDirectory(const std::string& path);
    ~WorkingDirectory();
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;

private:
    std::filesystem::path before_;
};

// Number of open descriptors of the process.
size_t open_descriptors();

}  // namespace qx_test

#endif
