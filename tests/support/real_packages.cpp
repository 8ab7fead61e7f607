// dpkg-deb, dpkg, rpmbuild and rpm; see real_packages.h.
#include "tests/support/real_packages.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <initializer_list>

#include "base/subprocess.h"

namespace qx_test {

namespace {

namespace fs = std::filesystem;

std::string missing_of(std::initializer_list<const char*> programs) {
    for (const char* program : programs) {
        if (access(program, X_OK) != 0) {
            return std::string("needs ") + program;
        }
    }
    return "";
}

// "1:2.0-3" in its parts.
struct Version {
    std::string epoch;
    std::string version;
    std::string release;
};

Version parts_of(const std::string& text) {
    Version parts;
    const auto colon = text.find(':');
    const auto begin = colon == std::string::npos ? 0 : colon + 1;
    const auto hyphen = text.rfind('-');
    parts.epoch = text.substr(0, colon == std::string::npos ? 0 : colon);
    parts.version = text.substr(begin, hyphen - begin);
    parts.release = text.substr(hyphen + 1);
    return parts;
}

}  // namespace

std::vector<std::string> run_program(const std::vector<std::string>& argv) {
    std::vector<std::string> lines;
    base::ProcessOptions options;
    options.onLine = [&](const std::string& line) { lines.push_back(line); };
    const auto result = base::runProcess(argv, options);
    EXPECT_TRUE(result.succeeded()) << argv.front() << ": " << result.reason() << "\n"
                                    << result.errorTail;
    return lines;
}

std::string missing_for_deb() {
    return missing_of(
        {"/usr/bin/dpkg", "/usr/bin/dpkg-deb", "/usr/bin/dpkg-query", "/usr/bin/bwrap"});
}

std::string missing_for_rpm() {
    return missing_of({"/usr/bin/rpm", "/usr/bin/rpmbuild", "/usr/bin/bwrap"});
}

std::string make_deb(const TempDir& dir, const PackageSpec& spec) {
    const std::string architecture = spec.architecture.empty() ? "all" : spec.architecture;
    std::string control =
        "Package: " + spec.name + "\nVersion: " + spec.version + "\nArchitecture: " + architecture +
        "\nMaintainer: A tester <tester@example.invalid>\nDescription: " + spec.summary + "\n";
    for (const std::string& line : spec.description) {
        control += line.empty() ? " .\n" : " " + line + "\n";
    }
    const std::string tree = "tree-" + spec.name + "-" + spec.version;
    dir.write(tree + "/DEBIAN/control", control);
    const std::string file = dir.path(spec.name + "_" + spec.version + "_" + architecture + ".deb");
    run_program({"dpkg-deb", "--root-owner-group", "--build", dir.path(tree), file});
    return file;
}

std::string make_rpm(const TempDir& dir, const PackageSpec& spec) {
    const std::string architecture = spec.architecture.empty() ? "noarch" : spec.architecture;
    const Version version = parts_of(spec.version);
    std::string text = "Name: " + spec.name + "\nVersion: " + version.version +
                       "\nRelease: " + version.release + "\nSummary: " + spec.summary +
                       "\nLicense: none\nAutoReqProv: no\n" +
                       (version.epoch.empty() ? "" : "Epoch: " + version.epoch + "\n") +
                       (spec.architecture.empty() ? "BuildArch: noarch\n" : "") + "%description\n";
    for (const std::string& line : spec.description) {
        text += line + "\n";
    }
    const std::string spec_file = dir.write(spec.name + ".spec", text + "%files\n");
    run_program({"rpmbuild", "-bb", "--quiet", "--target", architecture, "--define",
                 "_topdir " + dir.path("top"), spec_file});
    return dir.path("top/RPMS/" + architecture + "/" + spec.name + "-" + version.version + "-" +
                    version.release + "." + architecture + ".rpm");
}

void install_debs(const std::string& root, const std::vector<std::string>& files) {
    fs::create_directories(root + "/var/log");
    std::vector<std::string> argv{"dpkg",
                                  "--root=" + root,
                                  "--log=" + root + "/var/log/dpkg.log",
                                  "--force-unsafe-io",
                                  "--force-architecture",
                                  "-i"};
    argv.insert(argv.end(), files.begin(), files.end());
    run_program(argv);
}

void install_rpms(const std::string& root, const std::vector<std::string>& files) {
    fs::create_directories(root);
    std::vector<std::string> argv{"rpm", "--force-debian", "--root",
                                  root,  "--dbpath",       "/var/lib/rpm",
                                  "-U",  "--nodeps",       "--ignorearch"};
    argv.insert(argv.end(), files.begin(), files.end());
    run_program(argv);
}

}  // namespace qx_test
