// See template_list.h.
#include "node/qxpkg/node/template_list.h"

#include <libsmartcols.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "layout/paths.h"
#include "node/kr/packaging.h"
#include "node/qxpkg/node/node_templates.h"

namespace qxpkg {

namespace {

using qxnode::KrManifest;

struct Row {
    KrManifest manifest;
    std::optional<qxnode::KrCache> cache;  ///< of an OS template
};

void addRows(const std::string& name, const Output& output, std::vector<Row>& rows) {
    const NodeOsTemplate os = knownOsTemplate(name);
    rows.push_back({os.main->manifest, usableCache(name, output)});
    for (const auto& [plain, file] : os.applications) {
        rows.push_back({file.manifest, std::nullopt});
    }
}

std::string orDash(const std::string& text) {
    return text.empty() ? "-" : text;
}

void printTable(const std::vector<Row>& rows) {
    struct Release {
        void operator()(libscols_table* table) const { scols_unref_table(table); }
    };
    scols_init_debug(0);
    const std::unique_ptr<libscols_table, Release> table(scols_new_table());
    for (const char* name : {"OS", "APPLICATION", "VERSION", "ARCH", "CACHE"}) {
        scols_table_new_column(table.get(), name, 0, 0);
    }
    scols_table_new_column(table.get(), "SUMMARY", 0.3, SCOLS_FL_TRUNC);
    if (isatty(STDOUT_FILENO) == 0) {
        // Output to a file or a program has no width limit, so nothing is cut off.
        scols_table_set_termforce(table.get(), SCOLS_TERMFORCE_NEVER);
    }
    for (const Row& row : rows) {
        const KrManifest& manifest = row.manifest;
        const std::vector<std::string> cells{
            manifest.isOsTemplate ? manifest.name : manifest.osName,
            manifest.isOsTemplate ? "-" : manifest.name,
            orDash(manifest.version),
            orDash(manifest.architecture),
            row.cache ? orDash(row.cache->created) : "-",
            orDash(manifest.summary)};
        auto* line = scols_table_new_line(table.get(), nullptr);
        for (std::size_t column = 0; column < cells.size(); ++column) {
            scols_line_set_data(line, column, cells[column].c_str());
        }
    }
    std::fflush(stdout);
    scols_print_table(table.get());
}

nlohmann::json jsonOf(const Row& row) {
    const KrManifest& manifest = row.manifest;
    nlohmann::json json{
        {"name", manifest.name},       {"kind", manifest.isOsTemplate ? "os" : "app"},
        {"version", manifest.version}, {"architecture", manifest.architecture},
        {"summary", manifest.summary}, {"packages", manifest.packages}};
    if (!manifest.isOsTemplate) {
        json["os"] = manifest.osName;
        return json;
    }
    json["packaging"] = manifest.packaging != nullptr ? manifest.packaging->name : "";
    json["base_packages"] = manifest.basePackages;
    json["cache"] = nullptr;
    if (row.cache) {
        json["cache"] = {
            {"uuid", row.cache->uuid}, {"root", row.cache->root}, {"created", row.cache->created}};
    }
    return json;
}

void printJson(const std::vector<Row>& rows) {
    nlohmann::json document{{"templates", nlohmann::json::array()}};
    for (const Row& row : rows) {
        document["templates"].push_back(jsonOf(row));
    }
    // Texts of templates may not be UTF-8.
    std::printf("%s\n",
                document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
}

void printLines(const std::vector<Row>& rows, const Output& output) {
    for (const Row& row : rows) {
        row.manifest.isOsTemplate
            ? output.osTemplate(row.manifest.name)
            : output.applicationTemplate(row.manifest.osName, row.manifest.name);
    }
}

}  // namespace

void listTemplates(const std::vector<std::string>& names, ListFormat format, const Output& output) {
    std::vector<Row> rows;
    for (const std::string& name :
         names.empty() ? qxnode::krOsNames(qxnode::kKrTemplateDir) : names) {
        addRows(name, output, rows);
    }
    if (format == ListFormat::json) {
        printJson(rows);
    } else if (output.quiet()) {
        printLines(rows, output);
    } else {
        printTable(rows);
    }
}

}  // namespace qxpkg
