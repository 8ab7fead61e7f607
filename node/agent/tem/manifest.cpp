// Reads the manifest of a standard template. Each field goes through one typed reader, so that a
// wrong type is always reported the same way: by field, expected type and line.
#include "node/agent/tem/manifest.h"

#include <toml++/toml.h>
#include <algorithm>
#include <optional>
#include <sstream>

#include "QXA/QXATEMLocal.h"
#include "node/support/failure.h"
#include "node/template/version_order.h"

namespace QXA::tem {

using qxnode::Failure;

namespace {

class FieldReader {
public:
    FieldReader(const toml::table& table, std::string source, std::string prefix = "")
        : m_table(table), m_source(std::move(source)), m_prefix(std::move(prefix)) {}

    [[noreturn]] void refuse(const std::string& field, const std::string& what,
                             const toml::node* node = nullptr) const {
        std::string message = m_source + ": field '" + m_prefix + field + "' " + what;
        if (node != nullptr && node->source().begin.line != 0) {
            message += " (line " + std::to_string(node->source().begin.line) + ")";
        }
        throw Failure(kTemDamaged, message);
    }

    [[nodiscard]] const toml::node* node(const std::string& field) const {
        return m_table.get(field);
    }

    std::string text(const std::string& field) const {
        const toml::node* value = node(field);
        if (value == nullptr) {
            return {};
        }
        return stringOf(field, *value);
    }

    std::string neededText(const std::string& field) const {
        std::string value = text(field);
        if (value.empty()) {
            refuse(field, node(field) == nullptr ? "is missing" : "is empty", node(field));
        }
        return value;
    }

    bool flag(const std::string& field, bool fallback) const {
        const toml::node* value = node(field);
        if (value == nullptr) {
            return fallback;
        }
        if (!value->is_boolean()) {
            wrongType(field, "a boolean", *value);
        }
        return value->as_boolean()->get();
    }

    std::vector<std::string> texts(const std::string& field) const {
        std::vector<std::string> out;
        const toml::node* value = node(field);
        if (value == nullptr) {
            return out;
        }
        if (!value->is_array()) {
            wrongType(field, "an array of strings", *value);
        }
        for (const toml::node& element : *value->as_array()) {
            out.push_back(stringOf(field, element));
        }
        return out;
    }

    /// Calls `each` with a reader for every table of an array of tables.
    template <class Each>
    void tables(const std::string& field, Each each) const {
        const toml::node* value = node(field);
        if (value == nullptr) {
            return;
        }
        if (!value->is_array()) {
            wrongType(field, "an array of tables", *value);
        }
        std::size_t index = 0;
        for (const toml::node& element : *value->as_array()) {
            const std::string name = field + "[" + std::to_string(index++) + "]";
            if (!element.is_table()) {
                wrongType(name, "a table", element);
            }
            each(FieldReader(*element.as_table(), m_source, m_prefix + name + "."));
        }
    }

    std::map<std::string, std::string> textTable(const std::string& field) const {
        std::map<std::string, std::string> out;
        const toml::node* value = node(field);
        if (value == nullptr) {
            return out;
        }
        if (!value->is_table()) {
            wrongType(field, "a table of strings", *value);
        }
        for (const auto& [key, element] : *value->as_table()) {
            const std::string name(key.str());
            out.emplace(name, stringOf(field + "." + name, element));
        }
        return out;
    }

private:
    [[noreturn]] void wrongType(const std::string& field, const char* expected,
                                const toml::node& value) const {
        std::ostringstream type;
        type << value.type();
        refuse(field, std::string("must be ") + expected + ", not of type " + type.str(), &value);
    }

    std::string stringOf(const std::string& field, const toml::node& value) const {
        if (!value.is_string()) {
            wrongType(field, "a string", value);
        }
        std::string text = value.as_string()->get();
        // Texts are passed through C interfaces and text files, where a NUL would end them.
        if (text.find('\0') != std::string::npos) {
            refuse(field, "holds a NUL character", &value);
        }
        return text;
    }

    const toml::table& m_table;
    std::string m_source;
    std::string m_prefix;
};

std::vector<QXATemplate> readKeys(const FieldReader& reader, const std::string& field) {
    std::vector<QXATemplate> out;
    reader.tables(field, [&](const FieldReader& entry) {
        QXATemplate key{entry.neededText("name"), entry.text("version")};
        if (!isValidName(key.name)) {
            entry.refuse("name", "is not a template name", entry.node("name"));
        }
        if (!key.version.empty() && !isValidVersion(key.version)) {
            entry.refuse("version", "is not a version", entry.node("version"));
        }
        out.push_back(std::move(key));
    });
    return out;
}

std::map<std::string, QXAPackage> readPackages(const FieldReader& reader) {
    std::map<std::string, QXAPackage> out;
    reader.tables("packages", [&](const FieldReader& entry) {
        QXAPackage package;
        package.name = entry.neededText("name");
        package.version = entry.text("version");
        package.details = entry.texts("details");
        // There may be two versions of a package, for example of a kernel; each needs its own key.
        std::string key = package.name;
        if (out.contains(key)) {
            key = package.toString();
        }
        if (!out.emplace(key, package).second) {
            entry.refuse("name", "names package '" + package.toString() + "' twice",
                         entry.node("name"));
        }
    });
    return out;
}

void readIdentity(const FieldReader& reader, QXATemplateConfigInfo& config) {
    config.name = reader.neededText("name");
    if (!isValidName(config.name)) {
        reader.refuse("name", "is not a template name", reader.node("name"));
    }
    config.version = reader.neededText("version");
    if (!isValidVersion(config.version)) {
        reader.refuse("version", "is not a version", reader.node("version"));
    }
    const std::string kind = reader.neededText("kind");
    if (kind != "os" && kind != "app") {
        reader.refuse("kind", "must be \"os\" or \"app\"", reader.node("kind"));
    }
    config.isOsTemplate = kind == "os";
}

std::vector<std::string> readSetIdFiles(const FieldReader& reader) {
    std::vector<std::string> files = reader.texts("setid");
    for (std::string& file : files) {
        file.erase(0, file.find_first_not_of('/'));
        if (file.empty()) {
            reader.refuse("setid", "holds a path that names no file", reader.node("setid"));
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace

Manifest parseManifest(std::string_view text, const std::string& source) {
    toml::table table;
    try {
        table = toml::parse(text);
    } catch (const toml::parse_error& error) {
        throw Failure(kTemDamaged, source + ": " + std::string(error.description()) + " (line " +
                                       std::to_string(error.source().begin.line) + ")");
    }
    const FieldReader reader(table, source);
    const std::string technology = reader.neededText("technology");
    if (technology != kStandardTechnology) {
        throw Failure(kTemNotStandard, source + ": technology '" + technology +
                                           "' is not the standard template technology");
    }
    Manifest manifest;
    QXATemplateConfigInfo& config = manifest.config;
    readIdentity(reader, config);
    config.summary = reader.text("summary");
    config.description = reader.text("description");
    config.platform = reader.text("platform");
    if (config.platform.empty()) {
        config.platform = "Linux";
    }
    config.architecture = reader.text("architecture");
    config.technologies = reader.texts("technologies");
    // The check for compatibility needs sorted lists of technologies.
    std::sort(config.technologies.begin(), config.technologies.end());
    config.baseOsTemplates = readKeys(reader, "base_os");
    if (config.isOsTemplate && !config.baseOsTemplates.empty()) {
        reader.refuse("base_os", "is for application templates only", reader.node("base_os"));
    }
    config.packages = readPackages(reader);
    config.properties = reader.textTable("properties");
    config.detail = reader.text("detail");
    config.packageFlag = reader.flag("package_flag", true);
    manifest.vendor = reader.text("vendor");
    manifest.origin = reader.text("origin");
    manifest.setIdFiles = readSetIdFiles(reader);
    manifest.conflicts = readKeys(reader, "conflicts");
    return manifest;
}

bool matches(const QXATemplate& wanted, const QXATemplate& found) {
    return wanted.name == found.name && (wanted.version.empty() || wanted.version == found.version);
}

bool inConflict(const Manifest& a, const Manifest& b) {
    const auto names = [](const Manifest& from, const Manifest& other) {
        return std::any_of(from.conflicts.begin(), from.conflicts.end(),
                           [&](const QXATemplate& key) { return matches(key, other.key()); });
    };
    return names(a, b) || names(b, a);
}

}  // namespace QXA::tem
