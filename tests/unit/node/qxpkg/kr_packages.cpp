// See kr_packages.h.
#include "tests/unit/node/qxpkg/kr_packages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>

#include "node/qxpkg/failure.h"
#include "tests/support/capture.h"

namespace qxpkg_test {

namespace fs = std::filesystem;

KrPackage& KrPackage::file(std::string name, std::string content) {
    m_entries.push_back({std::move(name), std::move(content), AE_IFREG, false});
    return *this;
}

KrPackage& KrPackage::folder(std::string name) {
    return special(std::move(name), AE_IFDIR);
}

KrPackage& KrPackage::link(std::string name, std::string target) {
    m_entries.push_back({std::move(name), std::move(target), AE_IFLNK, false});
    return *this;
}

KrPackage& KrPackage::hardLink(std::string name, std::string target) {
    m_entries.push_back({std::move(name), std::move(target), AE_IFREG, true});
    return *this;
}

KrPackage& KrPackage::special(std::string name, unsigned type) {
    m_entries.push_back({std::move(name), "", type, false});
    return *this;
}

std::string KrPackage::write(const std::string& path, int filter) const {
    const std::unique_ptr<archive, int (*)(archive*)> out(archive_write_new(), archive_write_free);
    archive_write_add_filter(out.get(), filter);
    archive_write_set_format_pax_restricted(out.get());
    EXPECT_EQ(archive_write_open_filename(out.get(), path.c_str()), ARCHIVE_OK);
    for (const Entry& entry : m_entries) {
        const std::unique_ptr<archive_entry, void (*)(archive_entry*)> header(archive_entry_new(),
                                                                              archive_entry_free);
        archive_entry_set_pathname(header.get(), entry.name.c_str());
        archive_entry_set_filetype(header.get(), entry.type);
        archive_entry_set_perm(header.get(), 0644);
        if (entry.isHardLink) {
            archive_entry_set_hardlink(header.get(), entry.text.c_str());
        } else if (entry.type == AE_IFLNK) {
            archive_entry_set_symlink(header.get(), entry.text.c_str());
        } else {
            archive_entry_set_size(header.get(), static_cast<la_int64_t>(entry.text.size()));
        }
        EXPECT_EQ(archive_write_header(out.get(), header.get()), ARCHIVE_OK) << entry.name;
        if (entry.type == AE_IFREG && !entry.isHardLink) {
            archive_write_data(out.get(), entry.text.data(), entry.text.size());
        }
    }
    EXPECT_EQ(archive_write_close(out.get()), ARCHIVE_OK);
    return path;
}

std::string osManifest(const std::string& name, const std::string& version,
                       const std::string& more) {
    return "technology = \"kr\"\nkind = \"os\"\nname = \"" + name + "\"\nversion = \"" + version +
           "\"\npackaging = \"deb\"\nsummary = \"summary of " + name + "\"\n" + more;
}

std::string appManifest(const std::string& os, const std::string& name, const std::string& version,
                        const std::string& more) {
    return "technology = \"kr\"\nkind = \"app\"\nname = \"" + name + "\"\nos = \"" + os +
           "\"\nversion = \"" + version + "\"\n" + more;
}

KrPackage osPackage(const std::string& name, const std::string& version, const std::string& more) {
    KrPackage package;
    package.file("template.toml", osManifest(name, version, more));
    return package;
}

KrPackage appPackage(const std::string& os, const std::string& name, const std::string& version,
                     const std::string& more) {
    KrPackage package;
    package.file("template.toml", appManifest(os, name, version, more));
    return package;
}

Outcome outcomeOf(const std::function<void()>& action) {
    Outcome outcome;
    const qx_test::Output output = qx_test::captured([&] {
        try {
            action();
        } catch (const qxpkg::Failure& failure) {
            outcome.code = qxpkg::exitCodeOf(failure);
            outcome.reason = failure.what();
        } catch (const std::exception& failure) {
            outcome.code = qxpkg::kFailed;
            outcome.reason = failure.what();
        }
    });
    outcome.out = output.out;
    outcome.err = output.err;
    return outcome;
}

std::string treeText(const std::string& folder) {
    std::vector<std::string> lines;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        const std::string name = fs::relative(entry.path(), folder).string();
        lines.push_back(name +
                        (entry.is_regular_file() ? "=" + qx_test::read_file(entry.path()) : "/"));
    }
    std::sort(lines.begin(), lines.end());
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}

}  // namespace qxpkg_test
