// Makes small deb and rpm packages with the engines, and roots in which they are installed.
#ifndef TESTS_SUPPORT_REAL_PACKAGES_H
#define TESTS_SUPPORT_REAL_PACKAGES_H

#include <string>
#include <vector>

#include "tests/support/temp_dir.h"

namespace qx_test {

struct PackageSpec {
    std::string name;
    std::string version = "1.0-1";  // "[epoch:]version-release"
    std::string summary = "A package of a test";
    std::vector<std::string> description = {};  // lines after the summary
    std::string architecture = {};              // empty: of no architecture
};

// Why deb or rpm packages cannot be made and installed here; empty if they can.
std::string missing_for_deb();
std::string missing_for_rpm();

// Makes a package in the directory and returns its path.
std::string make_deb(const TempDir& dir, const PackageSpec& spec);
std::string make_rpm(const TempDir& dir, const PackageSpec& spec);

// Installs packages into a root, which is made when it is not there. To be called by root, or by
// what a user namespace calls so.
void install_debs(const std::string& root, const std::vector<std::string>& files);
void install_rpms(const std::string& root, const std::vector<std::string>& files);

// Runs a program that must succeed, and returns the lines of its standard output.
std::vector<std::string> run_program(const std::vector<std::string>& argv);

}  // namespace qx_test

#define QX_SKIP_WITHOUT_DEB()                                  \
    do {                                                       \
        const std::string reason = qx_test::missing_for_deb(); \
        if (!reason.empty()) {                                 \
            GTEST_SKIP() << reason;                            \
        }                                                      \
    } while (false)

#define QX_SKIP_WITHOUT_RPM()                                  \
    do {                                                       \
        const std::string reason = qx_test::missing_for_rpm(); \
        if (!reason.empty()) {                                 \
            GTEST_SKIP() << reason;                            \
        }                                                      \
    } while (false)

#endif
