// A node of a test's own, on which the template manager works in a child process, and builders of
// template packages, good and bad.
#pragma once

#include <archive.h>
#include <archive_entry.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "QXA/QXAEnvMLocal.h"
#include "QXA/QXATEMLocal.h"
#include "QXL/QXLEID.h"
#include "tests/support/temp_dir.h"

namespace tem_test {

// What a call in the child gave: its code, its message, and a text made by the caller.
struct Outcome {
    int code = 0;
    std::string message;
    std::string text;
};

// A file of a package, entry by entry, so that every defect can be built.
class Package {
public:
    explicit Package(std::string compression = "none") : m_compression(std::move(compression)) {}

    Package& manifest(std::string text) { return file("template.toml", std::move(text)); }
    Package& file(std::string name, std::string content, unsigned mode = 0644);
    Package& directory(std::string name, unsigned mode = 0755);
    Package& link(std::string name, std::string target);
    Package& hardLink(std::string name, std::string target);
    Package& device(std::string name);
    Package& pipe(std::string name);

    // Names are written as text, the way other tools write them, not as bytes.
    Package& namesAsText() {
        m_namesAsText = true;
        return *this;
    }

    // Writes the package and gives its path.
    std::string write(const std::string& path) const;

private:
    struct Entry {
        std::string name;
        std::string text;  // content or target
        unsigned type = AE_IFREG;
        unsigned mode = 0644;
        bool isHardLink = false;
    };

    std::string m_compression;
    bool m_namesAsText = false;
    std::vector<Entry> m_entries;
};

// A manifest with what every one needs.
std::string osManifest(const std::string& name, const std::string& version,
                       const std::string& more = "");
std::string appManifest(const std::string& name, const std::string& version,
                        const std::string& more = "");

class Node {
public:
    Node();

    // Why no such node can be made here; empty when it can.
    static std::string missing();

    // Runs a call in a child that has entered the node. The call fills the text.
    Outcome run(const std::function<int(std::string& text)>& call) const;

    Outcome set(const std::vector<std::string>& paths, bool force = false) const;
    Outcome unset(const std::vector<QXA::QXATemplate>& keys) const;
    Outcome cache(const std::vector<QXA::QXATemplate>& keys) const;
    Outcome add(const std::vector<QXA::QXATemplate>& keys, bool force = false) const;
    Outcome rm(const std::vector<QXA::QXATemplate>& keys, bool force = false) const;
    // Text: "name/version kind" for each, separated by blanks.
    Outcome ls(QXA::QXATEMLocal::pkgType type = QXA::QXATEMLocal::kAllTemplates) const;
    Outcome lsContainer() const;
    Outcome create(const std::string& osTemplate = "") const;

    // Writes a package into the test's folder.
    std::string package(const std::string& name, const Package& package) const;
    // Installs an OS template "os" 1 with one file, and an application "app" 1 for it.
    void installOs(const std::string& version = "1") const;
    void installApp(const std::string& version = "1") const;
    // A container 101 with an empty area.
    void makeContainer(const std::string& config = "") const;

    std::string path() const { return m_files.path("node"); }
    std::string templates(const std::string& name = "") const;
    std::string area(const std::string& name = "") const;
    std::string configPath() const;
    std::string file(const std::string& name) const { return m_files.path(name); }

    // What stands for a template file at a path of the container's root, in place or in an index;
    // for everything else the file's content. Empty when there is nothing.
    std::string read(const std::string& path) const;
    // Whether the container has something at a path, in place or in an index.
    bool holds(const std::string& path) const;
    // Whether a directory of the container's root has an index, and is marked so.
    bool isIndexed(const std::string& directory) const;
    // What a check of the container's area finds, one finding a line.
    std::string findings() const;

    // Every entry below a directory: kind, mode, owner, size or target, content. Equal texts mean
    // equal trees, but for times and for the inodes that an index holds.
    static std::string tree(const std::string& directory);

    static QXL::QXLEID containerEid();

private:
    qx_test::TempDir m_files;
};

}  // namespace tem_test

// Ends a test with the reason when a node cannot be made.
#define QX_SKIP_WITHOUT_NODE()                                \
    do {                                                      \
        const std::string reason = tem_test::Node::missing(); \
        if (!reason.empty()) {                                \
            GTEST_SKIP() << reason;                           \
        }                                                     \
    } while (false)
