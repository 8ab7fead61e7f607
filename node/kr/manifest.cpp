// Reading KR metadata; see manifest.h.
#include "node/kr/manifest.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <optional>

#include "layout/paths.h"
#include "node/kr/packaging.h"
#include "node/kr/text.h"

namespace qxnode {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaxName = 120;
constexpr std::size_t kMaxPackageName = 255;

/// True for a word of a source line: without control characters and brackets, which would change
/// the meaning of the line.
bool isSourceWord(std::string_view word) {
    return std::all_of(word.begin(), word.end(), [](unsigned char c) {
        return c > ' ' && c != 0x7f && c != '[' && c != ']' && c != '"' && c != '#';
    });
}

bool isPlainFileName(std::string_view name) {
    return isKrName(name) && !name.starts_with('.');
}

std::vector<std::string> packageNames(const TomlTable& table, const std::string& key) {
    std::vector<std::string> names = table.texts(key);
    for (const std::string& name : names) {
        if (!isKrPackageName(name)) {
            throw table.fault(key, "'" + name + "' cannot be a package's name");
        }
    }
    return names;
}

std::string word(const TomlTable& table, const std::string& key) {
    std::string value = table.text(key).value_or("");
    if (!isSourceWord(value) || value.starts_with('-')) {
        throw table.fault(key, "'" + value + "' cannot stand in a source line");
    }
    return value;
}

KrRepository repositoryOf(const TomlTable& table) {
    KrRepository repository;
    repository.sources = table.text("sources").value_or("");
    if (!repository.sources.empty()) {
        if (!repository.sources.starts_with('/') || !isSourceWord(repository.sources)) {
            throw table.fault("sources", "must be an absolute path without blanks");
        }
        return repository;
    }
    repository.url = word(table, "url");
    const std::string scheme = repository.url.substr(0, repository.url.find(':'));
    if (scheme != "http" && scheme != "https" && scheme != "file" && scheme != "copy") {
        throw table.fault(
            "url", "'" + repository.url + "' begins with none of http:, https:, file:, copy:");
    }
    repository.suite = word(table, "suite");
    repository.components = table.texts("components");
    if (!std::all_of(repository.components.begin(), repository.components.end(), isSourceWord)) {
        throw table.fault("components", "holds what cannot stand in a source line");
    }
    repository.trusted = table.boolean("trusted").value_or(false);
    repository.key = table.text("key").value_or("");
    if (!repository.key.empty() && !isPlainFileName(repository.key)) {
        throw table.fault("key", "must be the name of a file in the folder 'keys'");
    }
    return repository;
}

void readNames(const TomlTable& table, KrManifest& manifest) {
    const std::string kind = table.requiredText("kind");
    if (kind != "os" && kind != "app") {
        throw table.fault("kind", "'" + kind + "' is neither 'os' nor 'app'");
    }
    manifest.isOsTemplate = kind == "os";
    const std::string name = table.requiredText("name");
    if (!isKrName(name)) {
        throw table.fault("name", "'" + name + "' cannot be a template's name");
    }
    manifest.name = dottedKrName(name);
    if (!manifest.isOsTemplate) {
        const std::string os = table.requiredText("os");
        if (!isKrName(os)) {
            throw table.fault("os", "'" + os + "' cannot be a template's name");
        }
        manifest.osName = dottedKrName(os);
    }
}

/// "'deb', 'rpm'".
std::string packagingNames() {
    std::string names;
    for (const Packaging* packaging : packagings()) {
        names += (names.empty() ? "'" : ", '") + std::string(packaging->name) + "'";
    }
    return names;
}

void readRest(const TomlTable& table, KrManifest& manifest) {
    manifest.version = table.text("version").value_or("");
    manifest.summary = table.text("summary").value_or("");
    manifest.description = linesOf(table.text("description").value_or(""));
    manifest.architecture = word(table, "architecture");
    if (const auto packaging = table.text("packaging")) {
        manifest.packaging = findPackaging(*packaging);
        if (manifest.packaging == nullptr) {
            throw table.fault("packaging", "'" + *packaging + "' is none of " + packagingNames());
        }
    } else if (manifest.isOsTemplate) {
        throw table.fault("packaging", "missing");
    }
    manifest.technologies = table.texts("technologies");
    manifest.basePackages = packageNames(table, "base_packages");
    manifest.lateBasePackages = packageNames(table, "late_base_packages");
    manifest.packages = packageNames(table, "packages");
    for (const TomlTable& repository : table.tables("repositories")) {
        manifest.repositories.push_back(repositoryOf(repository));
    }
    manifest.release = word(table, "release");
    manifest.variant = word(table, "variant");
    manifest.network = table.boolean("network").value_or(false);
    manifest.cached = table.boolean("cached").value_or(false);
}

KrManifest manifestOf(const TomlTable& table, const std::string& source) {
    const std::string technology = table.requiredText("technology");
    if (technology != kKrTechnology) {
        throw Failure(source + ": key 'technology': '" + technology + "' is not '" + kKrTechnology +
                      "'");
    }
    KrManifest manifest;
    readNames(table, manifest);
    readRest(table, manifest);
    return manifest;
}

KrManifest manifestAt(const std::string& path, const std::string& name, const std::string& os) {
    const TomlTable table = TomlTable::read(path);
    KrManifest manifest = manifestOf(table, path);
    if (manifest.name != name || manifest.osName != os) {
        throw table.fault("name", "'" + manifest.name + "' does not stand in its own place");
    }
    return manifest;
}

/// The template names that `accept` makes from the entries of a folder.
template <typename Accept>
std::vector<std::string> namesIn(const fs::path& folder, const Accept& accept) {
    std::vector<std::string> names;
    std::error_code failure;
    fs::directory_iterator entry(folder, failure);
    for (; !failure && entry != fs::directory_iterator(); entry.increment(failure)) {
        const std::optional<std::string> name = accept(entry->path());
        if (name && !name->starts_with('.') && isKrName(*name)) {
            names.push_back(*name);
        }
    }
    if (failure && failure != std::errc::no_such_file_or_directory) {
        throw Failure("cannot read '" + folder.string() + "': " + failure.message());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string checkedName(std::string_view name) {
    if (!isKrName(name)) {
        throw Failure("'" + std::string(name) + "' cannot be a template's name");
    }
    return dottedKrName(name);
}

}  // namespace

bool KrRepository::needsNetwork() const {
    // Files of source lines are not read here; they normally name mirrors.
    return !sources.empty() || url.starts_with("http:") || url.starts_with("https:");
}

std::string KrRepository::hostFolder() const {
    for (const std::string scheme : {"file:", "copy:"}) {
        if (url.starts_with(scheme)) {
            std::string path = url.substr(scheme.size());
            path.erase(0, std::min(path.find_first_not_of('/'), path.size()));
            return fs::path("/" + path).lexically_normal().string();
        }
    }
    return "";
}

std::vector<std::string> KrManifest::allPackages() const {
    std::vector<std::string> all;
    for (const auto* list : {&basePackages, &lateBasePackages, &packages}) {
        for (const std::string& name : *list) {
            if (std::find(all.begin(), all.end(), name) == all.end()) {
                all.push_back(name);
            }
        }
    }
    return all;
}

bool isKrPackageName(std::string_view name) {
    return !name.empty() && name.size() <= kMaxPackageName &&
           std::isalnum(static_cast<unsigned char>(name.front())) != 0 &&
           std::all_of(name.begin(), name.end(), [](unsigned char c) {
               return std::isalnum(c) != 0 || std::string_view("._+-:~").find(
                                                  static_cast<char>(c)) != std::string_view::npos;
           });
}

bool isKrName(std::string_view name) {
    if (name.starts_with('.')) {
        name.remove_prefix(1);
    }
    return name.size() <= kMaxName && isKrPackageName(name);
}

std::string dottedKrName(std::string_view name) {
    return name.empty() || name.starts_with('.') ? std::string(name) : "." + std::string(name);
}

std::string plainKrName(std::string_view name) {
    return std::string(name.starts_with('.') ? name.substr(1) : name);
}

std::string krOsFolder(std::string_view os) {
    return std::string(kKrTemplateDir) + "/" + plainKrName(os);
}

std::string krOsManifestPath(std::string_view os) {
    return krOsFolder(os) + "/" + kKrManifestName;
}

std::string krApplicationManifestPath(std::string_view os, std::string_view application) {
    return krOsFolder(os) + "/" + kKrApplicationDir + "/" + plainKrName(application) +
           kKrApplicationSuffix;
}

KrManifest parseKrManifest(std::string_view text, const std::string& source) {
    return manifestOf(TomlTable::parse(text, source), source);
}

KrManifest readKrOsManifest(const std::string& folder, std::string_view os) {
    const std::string name = checkedName(os);
    return manifestAt(folder + "/" + plainKrName(name) + "/" + kKrManifestName, name, "");
}

KrManifest readKrApplicationManifest(const std::string& folder, std::string_view os,
                                     std::string_view application) {
    const std::string osName = checkedName(os);
    const std::string name = checkedName(application);
    return manifestAt(folder + "/" + plainKrName(osName) + "/" + kKrApplicationDir + "/" +
                          plainKrName(name) + kKrApplicationSuffix,
                      name, osName);
}

KrManifest readKrOsManifest(std::string_view os) {
    return readKrOsManifest(kKrTemplateDir, os);
}

KrManifest readKrApplicationManifest(std::string_view os, std::string_view application) {
    return readKrApplicationManifest(kKrTemplateDir, os, application);
}

std::vector<std::string> krOsNames(const std::string& folder) {
    return namesIn(folder, [](const fs::path& path) -> std::optional<std::string> {
        std::error_code ignored;
        if (!fs::exists(path / kKrManifestName, ignored)) {
            return std::nullopt;
        }
        return path.filename().string();
    });
}

std::vector<std::string> krApplicationNames(const std::string& folder, std::string_view os) {
    const fs::path place = fs::path(folder) / plainKrName(os) / kKrApplicationDir;
    return namesIn(place, [](const fs::path& path) -> std::optional<std::string> {
        const std::string name = path.filename().string();
        if (!name.ends_with(kKrApplicationSuffix)) {
            return std::nullopt;
        }
        return name.substr(0, name.size() - std::string_view(kKrApplicationSuffix).size());
    });
}

}  // namespace qxnode
