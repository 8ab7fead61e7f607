// A node of a test's own, and builders of template packages.
#include "tests/unit/node/tem_node.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <numeric>

#include "QXL/QXLError.h"
#include "layout/node_dir.h"
#include "src/area/check_area.h"
#include "src/index/index_file.h"
#include "src/qxfsutil.h"

namespace tem_test {

namespace fs = std::filesystem;

namespace {

// Stands for a child that could not enter the node.
constexpr int kNoNode = -99999;

void writeAll(int fd, const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t written = write(fd, text.data() + done, text.size() - done);
        if (written <= 0) {
            _exit(1);
        }
        done += static_cast<std::size_t>(written);
    }
}

std::string readAll(int fd) {
    std::string text;
    char buffer[4096];
    for (ssize_t got = 0; (got = read(fd, buffer, sizeof(buffer))) > 0;) {
        text.append(buffer, static_cast<std::size_t>(got));
    }
    return text;
}

// Parts are told apart by a byte that no message holds.
constexpr char kSeparator = '\x1e';

std::string listing(const std::vector<QXA::QXAPackageInfo>& infos) {
    std::string text;
    for (const auto& info : infos) {
        for (const auto& version : info.versions) {
            text += (text.empty() ? "" : " ") + info.name + "/" + version.version +
                    (version.isOsTemplate ? ":os" : ":app");
        }
    }
    return text;
}

// Has names taken in a locale's characters while it lives.
class Locale {
public:
    explicit Locale(const char* name) : m_before(setlocale(LC_CTYPE, nullptr)) {
        EXPECT_NE(setlocale(LC_CTYPE, name), nullptr);
    }
    ~Locale() { setlocale(LC_CTYPE, m_before.c_str()); }
    Locale(const Locale&) = delete;
    Locale& operator=(const Locale&) = delete;

private:
    std::string m_before;
};

struct FreeTexts {
    void operator()(char** texts) const {
        for (char** text = texts; *text != nullptr; ++text) {
            std::free(*text);
        }
        std::free(texts);
    }
};

// The template references of an index; empty when there is none.
std::vector<std::string> referencesIn(const std::string& index) {
    std::vector<std::string> found;
    if (!fs::is_regular_file(fs::symlink_status(index))) {
        return found;
    }
    const std::unique_ptr<char*, FreeTexts> texts(read_dirindex(index.c_str()));
    EXPECT_NE(texts, nullptr) << index;
    for (char* const* text = texts.get(); text != nullptr && *text != nullptr; ++text) {
        found.emplace_back(*text);
    }
    return found;
}

/// Entries by name: their order in the file is that in which the file system gave the names.
std::string indexAsText(const std::string& path) {
    std::vector<std::string> entries;
    for (const dirindex::IndexEntry& entry : dirindex::readIndexFile(AT_FDCWD, path).entries) {
        entries.push_back(entry.name + " " + std::to_string(entry.type) + " " +
                          entry.link.value_or("") + ";");
    }
    std::sort(entries.begin(), entries.end());
    return std::accumulate(entries.begin(), entries.end(), std::string());
}

}  // namespace

Package& Package::file(std::string name, std::string content, unsigned mode) {
    m_entries.push_back({std::move(name), std::move(content), AE_IFREG, mode, false});
    return *this;
}

Package& Package::directory(std::string name, unsigned mode) {
    m_entries.push_back({std::move(name), "", AE_IFDIR, mode, false});
    return *this;
}

Package& Package::link(std::string name, std::string target) {
    m_entries.push_back({std::move(name), std::move(target), AE_IFLNK, 0777, false});
    return *this;
}

Package& Package::hardLink(std::string name, std::string target) {
    m_entries.push_back({std::move(name), std::move(target), AE_IFREG, 0644, true});
    return *this;
}

Package& Package::device(std::string name) {
    m_entries.push_back({std::move(name), "", AE_IFCHR, 0600, false});
    return *this;
}

Package& Package::pipe(std::string name) {
    m_entries.push_back({std::move(name), "", AE_IFIFO, 0600, false});
    return *this;
}

std::string Package::write(const std::string& path) const {
    // The library writes names as text only under a locale that has them.
    const Locale locale(m_namesAsText ? "C.UTF-8" : "C");
    archive* out = archive_write_new();
    if (m_compression != "none") {
        archive_write_add_filter_by_name(out, m_compression.c_str());
    }
    archive_write_set_format_pax_restricted(out);
    if (!m_namesAsText) {
        archive_write_set_format_option(out, "pax", "hdrcharset", "BINARY");
    }
    EXPECT_EQ(archive_write_open_filename(out, path.c_str()), ARCHIVE_OK);
    for (const Entry& entry : m_entries) {
        archive_entry* header = archive_entry_new();
        archive_entry_set_pathname(header, entry.name.c_str());
        archive_entry_set_filetype(header, entry.type);
        archive_entry_set_perm(header, entry.mode);
        archive_entry_set_uid(header, getuid());
        archive_entry_set_gid(header, getgid());
        archive_entry_set_mtime(header, 1'000'000'000, 0);
        if (entry.isHardLink) {
            archive_entry_set_hardlink(header, entry.text.c_str());
        } else if (entry.type == AE_IFLNK) {
            archive_entry_set_symlink(header, entry.text.c_str());
        } else if (entry.type == AE_IFREG) {
            archive_entry_set_size(header, static_cast<la_int64_t>(entry.text.size()));
        }
        EXPECT_EQ(archive_write_header(out, header), ARCHIVE_OK) << archive_error_string(out);
        if (entry.type == AE_IFREG && !entry.isHardLink) {
            archive_write_data(out, entry.text.data(), entry.text.size());
        }
        archive_entry_free(header);
    }
    EXPECT_EQ(archive_write_free(out), ARCHIVE_OK);
    return path;
}

std::string osManifest(const std::string& name, const std::string& version,
                       const std::string& more) {
    return "technology = \"standard\"\nkind = \"os\"\nname = \"" + name + "\"\nversion = \"" +
           version + "\"\n" + more;
}

std::string appManifest(const std::string& name, const std::string& version,
                        const std::string& more) {
    return "technology = \"standard\"\nkind = \"app\"\nname = \"" + name + "\"\nversion = \"" +
           version + "\"\n" + more;
}

Node::Node() {
    std::string error;
    EXPECT_EQ(qxnode::initNodeDirectory(path(), error), 0) << error;
    fs::create_directories(templates());
}

std::string Node::missing() {
    static const std::string reason = [] {
        const Node node;
        const Outcome outcome = node.run([](std::string&) { return 0; });
        return outcome.code == kNoNode ? outcome.message : std::string();
    }();
    return reason;
}

Outcome Node::run(const std::function<int(std::string&)>& call) const {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const pid_t child = fork();
    if (child == 0) {
        std::string error;
        int code = kNoNode;
        std::string text;
        std::string message;
        if (qxnode::enterNodeDirectory(path(), error) != 0) {
            message = error;
        } else {
            code = call(text);
            message = QXL::getErrorMessage();
        }
        writeAll(ends[1], std::to_string(code) + kSeparator + message + kSeparator + text);
        _exit(0);
    }
    close(ends[1]);
    const std::string all = readAll(ends[0]);
    close(ends[0]);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << "the child ended by itself";
    Outcome outcome;
    const std::size_t first = all.find(kSeparator);
    const std::size_t second = all.find(kSeparator, first + 1);
    if (first != std::string::npos && second != std::string::npos) {
        outcome.code = std::atoi(all.c_str());
        outcome.message = all.substr(first + 1, second - first - 1);
        outcome.text = all.substr(second + 1);
    }
    return outcome;
}

Outcome Node::set(const std::vector<std::string>& paths, bool force) const {
    return run([&](std::string& text) {
        std::vector<QXA::QXAPackageInfo> infos;
        const int code = QXA::QXATEMLocal(nullptr).set(paths, force, infos);
        text = listing(infos);
        return code;
    });
}

Outcome Node::unset(const std::vector<QXA::QXATemplate>& keys) const {
    return run([&](std::string&) { return QXA::QXATEMLocal(nullptr).unset(keys); });
}

Outcome Node::cache(const std::vector<QXA::QXATemplate>& keys) const {
    return run([&](std::string&) { return QXA::QXATEMLocal(nullptr).cache(keys); });
}

Outcome Node::add(const std::vector<QXA::QXATemplate>& keys, bool force) const {
    return run([&](std::string&) {
        return QXA::QXATEMLocal(nullptr).add(containerEid(), keys, force, false);
    });
}

Outcome Node::rm(const std::vector<QXA::QXATemplate>& keys, bool force) const {
    return run([&](std::string&) {
        return QXA::QXATEMLocal(nullptr).rm(containerEid(), keys, force, true);
    });
}

Outcome Node::ls(QXA::QXATEMLocal::pkgType type) const {
    return run([&](std::string& text) {
        std::vector<QXA::QXAPackageInfo> infos;
        const int code = QXA::QXATEMLocal(nullptr).ls(infos, QXL::QXLEID::EID_LOCAL, type);
        text = listing(infos);
        return code;
    });
}

Outcome Node::lsContainer() const {
    return run([&](std::string& text) {
        std::vector<QXA::QXAPackageInfo> infos;
        const int code =
            QXA::QXATEMLocal(nullptr).ls(infos, containerEid(), QXA::QXATEMLocal::kAllTemplates);
        text = listing(infos);
        return code;
    });
}

Outcome Node::create(const std::string& osTemplate) const {
    return run([&](std::string& text) {
        QXA::QXAEnvSpec spec;
        spec.veid = 101;
        spec.eid = containerEid();
        spec.osTemplate = osTemplate;
        QXA::QXAEnvRecord record;
        const int code = QXA::QXAEnvMLocal(nullptr).create(spec, &record);
        text = record.osTemplate;
        return code;
    });
}

std::string Node::package(const std::string& name, const Package& package) const {
    return package.write(m_files.path(name));
}

void Node::installOs(const std::string& version) const {
    const Outcome outcome =
        set({package("os-" + version + ".tar", Package()
                                                   .manifest(osManifest("os", version))
                                                   .directory("root")
                                                   .directory("root/etc")
                                                   .file("root/etc/release", "os " + version + "\n")
                                                   .file("root/etc/only-" + version, version))});
    ASSERT_EQ(outcome.code, 0) << outcome.message;
}

void Node::installApp(const std::string& version) const {
    const Outcome outcome =
        set({package("app-" + version + ".tar",
                     Package()
                         .manifest(appManifest("app", version, "base_os = [{name = \"os\"}]\n"))
                         .directory("root/usr")
                         .directory("root/usr/bin", 0751)
                         .file("root/usr/bin/app", "#!/bin/sh\n", 0755)
                         .file("root/usr/bin/only-" + version, version)
                         .link("root/usr/bin/alias", "app")
                         .file("root/etc/app.conf", "a\n", 0640))});
    ASSERT_EQ(outcome.code, 0) << outcome.message;
}

void Node::makeContainer(const std::string& config) const {
    fs::create_directories(area("root"));
    if (!fs::is_symlink(area("VERSION"))) {
        fs::create_symlink("005.004", area("VERSION"));
    }
    fs::create_directories(fs::path(configPath()).parent_path());
    m_files.write("node/etc/sysconfig/qx-scripts/101.conf",
                  "EID=\"" + containerEid().toString() + "\"\n" + config);
}

std::string Node::templates(const std::string& name) const {
    return path() + "/qx/template" + (name.empty() ? "" : "/" + name);
}

std::string Node::area(const std::string& name) const {
    return path() + "/qx/private/101" + (name.empty() ? "" : "/" + name);
}

std::string Node::read(const std::string& path) const {
    const fs::path place = area("root/" + path);
    if (fs::exists(fs::symlink_status(place))) {
        return qx_test::read_file(place.string());
    }
    for (const std::string& text : referencesIn((place.parent_path() / "._qxlnk_.").string())) {
        if (text.substr(text.rfind('/') + 1) == place.filename().string()) {
            return text;
        }
    }
    return "";
}

bool Node::holds(const std::string& path) const {
    return fs::exists(fs::symlink_status(area("root/" + path))) || !read(path).empty();
}

bool Node::isIndexed(const std::string& directory) const {
    struct stat st {};
    const std::string path = area("root/" + directory);
    return lstat(path.c_str(), &st) == 0 && (st.st_mode & S_ISUID) != 0 &&
           lstat((path + "/._qxlnk_.").c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

std::string Node::findings() const {
    qxfs::Area checked;
    std::string text;
    if (!qxfs::openArea(area(), templates(), checked, text)) {
        return text;
    }
    qxfs::UndoRecord none;
    qxfs::checkArea(
        checked, qxfs::RepairMode::report, none,
        [&](const qxfs::Finding& finding) { text += qxfs::describe(finding) + "\n"; },
        [](const qxfs::CheckSummary&) {});
    return text;
}

std::string Node::configPath() const {
    return path() + "/etc/sysconfig/qx-scripts/101.conf";
}

QXL::QXLEID Node::containerEid() {
    return QXL::QXLEID::fromString("11111111-2222-3333-4444-555555555555");
}

std::string Node::tree(const std::string& directory) {
    std::vector<std::string> lines;
    std::error_code failure;
    for (const auto& entry : fs::recursive_directory_iterator(directory, failure)) {
        struct stat st {};
        lstat(entry.path().c_str(), &st);
        char mode[32];
        snprintf(mode, sizeof(mode), " %06o %u:%u ", st.st_mode, st.st_uid, st.st_gid);
        std::string line = entry.path().lexically_relative(directory).string() + mode;
        if (S_ISLNK(st.st_mode)) {
            line += fs::read_symlink(entry.path()).string();
        } else if (entry.path().filename() == dirindex::kIndexName) {
            line += indexAsText(entry.path().string());
        } else if (S_ISREG(st.st_mode)) {
            line += qx_test::read_file(entry.path().string());
        }
        lines.push_back(line);
    }
    std::sort(lines.begin(), lines.end());
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}

}  // namespace tem_test
