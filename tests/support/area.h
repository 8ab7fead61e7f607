// A template tree and a container directory, for tests of scan and repair.
#ifndef TESTS_SUPPORT_AREA_H
#define TESTS_SUPPORT_AREA_H

#include <sys/stat.h>

#include <string>
#include <string_view>

#include "tests/support/temp_dir.h"

namespace qx_test {

// Everything is in one temporary directory: "template" is the template root, "dir" the directory to
// scan. Attributes that are not given are those of the template file.
class Area {
public:
    Area();

    std::string root() const { return files_.path("template"); }
    std::string dir() const { return files_.path("dir"); }
    std::string path(std::string_view name) const { return dir() + "/" + std::string(name); }
    const TempDir& files() const { return files_; }

    // Makes a template file; returns its inode number.
    ino_t add_template(std::string_view name, mode_t mode = 0644) const;
    ino_t add_template_dir(std::string_view name, mode_t mode = 0755) const;
    // A shortcut of the directory to the template file of that name ("os/lib/x" gives
    // "////os/lib/x").
    void add_shortcut(std::string_view name, std::string_view template_name,
                      mode_t mode = 0644) const;
    // A sticky regular file with any content.
    void add_sticky(std::string_view name, std::string_view content, mode_t mode = 0644) const;
    void add_file(std::string_view name, std::string_view content = "own") const;
    void add_link(std::string_view name, std::string_view target) const;
    // A directory, with the set-user-ID bit if requested.
    void add_dir(std::string_view name, mode_t mode = 0755) const;

    bool exists(std::string_view name) const;
    struct stat stat_of(std::string_view name) const;

private:
    TempDir files_;
};

// lstat of a path that must exist.
struct stat lstat_of(const std::string& path);

}  // namespace qx_test

#endif
