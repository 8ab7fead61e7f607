// Makes the entries of a template tree and of a container directory.
#include "tests/support/area.h"

#include <gtest/gtest.h>

namespace qx_test {

Area::Area() {
    files_.make_dir("template");
    files_.make_dir("dir");
}

ino_t Area::add_template(std::string_view name, mode_t mode) const {
    const std::string path = files_.write("template/" + std::string(name), "template");
    EXPECT_EQ(0, chmod(path.c_str(), mode));
    return lstat_of(path).st_ino;
}

ino_t Area::add_template_dir(std::string_view name, mode_t mode) const {
    const std::string path = files_.make_dir("template/" + std::string(name));
    EXPECT_EQ(0, chmod(path.c_str(), mode));
    return lstat_of(path).st_ino;
}

void Area::add_shortcut(std::string_view name, std::string_view template_name, mode_t mode) const {
    add_sticky(name, "////" + std::string(template_name), mode);
}

void Area::add_sticky(std::string_view name, std::string_view content, mode_t mode) const {
    const std::string path = files_.write("dir/" + std::string(name), content);
    EXPECT_EQ(0, chmod(path.c_str(), mode | S_ISVTX));
}

void Area::add_file(std::string_view name, std::string_view content) const {
    const std::string path = files_.write("dir/" + std::string(name), content);
    EXPECT_EQ(0, chmod(path.c_str(), 0644));
}

void Area::add_link(std::string_view name, std::string_view target) const {
    files_.make_link("dir/" + std::string(name), target);
}

void Area::add_dir(std::string_view name, mode_t mode) const {
    const std::string path = files_.make_dir("dir/" + std::string(name));
    EXPECT_EQ(0, chmod(path.c_str(), mode));
}

bool Area::exists(std::string_view name) const {
    struct stat st {};
    return lstat(path(name).c_str(), &st) == 0;
}

struct stat Area::stat_of(std::string_view name) const {
    return lstat_of(path(name));
}

struct stat lstat_of(const std::string& path) {
    struct stat st {};
    EXPECT_EQ(0, lstat(path.c_str(), &st)) << path;
    return st;
}

}  // namespace qx_test
