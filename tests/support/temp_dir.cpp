// Directories, files and descriptors of tests; see temp_dir.h.
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <system_error>

namespace qx_test {

namespace fs = std::filesystem;

TempDir::TempDir() {
    std::string pattern = (fs::temp_directory_path() / "qxtest-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "mkdtemp " + pattern);
    }
    path_ = fs::canonical(pattern);
}

TempDir::~TempDir() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

std::string TempDir::write(std::string_view name, std::string_view content) const {
    const fs::path file = path_ / name;
    fs::create_directories(file.parent_path());
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream.write(content.data(), static_cast<std::streamsize>(content.size()));
    stream.close();
    if (!stream) {
        throw std::runtime_error("cannot write " + file.string());
    }
    return file.string();
}

std::string TempDir::make_dir(std::string_view name) const {
    fs::create_directories(path_ / name);
    return path(name);
}

std::string TempDir::make_link(std::string_view name, std::string_view target) const {
    const fs::path link = path_ / name;
    fs::create_directories(link.parent_path());
    fs::create_symlink(target, link);
    return link.string();
}

std::string read_file(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    EXPECT_TRUE(stream.is_open()) << "no file " << path;
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

WorkingDirectory::WorkingDirectory(const std::string& path) : before_(fs::current_path()) {
    fs::current_path(path);
}

WorkingDirectory::~WorkingDirectory() {
    std::error_code ignored;
    fs::current_path(before_, ignored);
}

size_t open_descriptors() {
    const fs::directory_iterator entries("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}

}  // namespace qx_test
