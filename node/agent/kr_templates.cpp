// Reading KR template metadata for the package monitor; see kr_templates.h.
#include "node/agent/kr_templates.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "node/support/toml_reader.h"

namespace QXL {

namespace {

namespace fs = std::filesystem;

constexpr const char* kOsManifest = "template.toml";
constexpr const char* kApplications = "app";
constexpr const char* kManifestSuffix = ".toml";

std::string dotted(const std::string& name) {
    return name.starts_with('.') ? name : "." + name;
}

/// What a folder holds, in order of names; empty when it is not there.
std::vector<fs::path> entriesOf(const fs::path& folder) {
    std::error_code failure;
    std::vector<fs::path> entries;
    fs::directory_iterator entry(folder, failure);
    for (; !failure && entry != fs::directory_iterator(); entry.increment(failure)) {
        entries.push_back(entry->path());
    }
    if (failure && failure != std::errc::no_such_file_or_directory) {
        throw std::runtime_error("cannot read '" + folder.string() + "': " + failure.message());
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

KrTemplate readManifest(const fs::path& path, const std::string& name, const std::string& osName) {
    const auto manifest = qxnode::TomlTable::read(path.string());
    KrTemplate found;
    found.name = dotted(name);
    found.osName = osName.empty() ? "" : dotted(osName);
    found.isOsTemplate = osName.empty();
    found.version = manifest.text("version").value_or("");
    found.architecture = manifest.text("architecture").value_or("");
    found.summary = manifest.text("summary").value_or("");
    return found;
}

}  // namespace

std::vector<KrTemplate> readKrTemplates(
    const std::string& folder, const std::function<void(const std::string& line)>& report) {
    std::vector<KrTemplate> templates;
    const auto add = [&](const fs::path& path, const std::string& name, const std::string& osName) {
        try {
            templates.push_back(readManifest(path, name, osName));
        } catch (const qxnode::ConfigError& failure) {
            report(failure.what());
        }
    };
    for (const fs::path& os : entriesOf(folder)) {
        const std::string osName = os.filename().string();
        std::error_code ignored;
        // Names that begin with a dot are what an installation has not finished.
        if (osName.starts_with('.') || !fs::exists(os / kOsManifest, ignored)) {
            continue;
        }
        add(os / kOsManifest, osName, "");
        for (const fs::path& application : entriesOf(os / kApplications)) {
            if (application.extension() == kManifestSuffix &&
                !application.filename().string().starts_with('.')) {
                add(application, application.stem().string(), osName);
            }
        }
    }
    return templates;
}

}  // namespace QXL
