// Tables for people, made with libsmartcols.
#include <libsmartcols.h>
#include <unistd.h>

#include <cstdio>
#include <memory>

#include "base/escape.h"
#include "tools/qxa/print.h"

namespace qxa {

namespace {

/// A table of texts. The library escapes bytes that are not printable.
class Table {
public:
    struct Column {
        const char* name;
        double width;  ///< below 1: share of the terminal's width; else the least columns
        int flags;
    };

    explicit Table(std::initializer_list<Column> columns) : m_table(scols_new_table()) {
        scols_init_debug(0);
        for (const auto& column : columns) {
            scols_table_new_column(m_table.get(), column.name, column.width, column.flags);
        }
        if (isatty(STDOUT_FILENO) == 0) {
            // Output to a file or a program has no width limit, so nothing is cut off.
            scols_table_set_termforce(m_table.get(), SCOLS_TERMFORCE_NEVER);
        }
    }

    void addRow(std::initializer_list<std::string> cells) {
        auto* row = scols_table_new_line(m_table.get(), nullptr);
        std::size_t column = 0;
        for (const auto& cell : cells) {
            scols_line_set_data(row, column++, cell.empty() ? "-" : cell.c_str());
        }
    }

    void print() {
        std::fflush(stdout);
        scols_print_table(m_table.get());
    }

private:
    struct Release {
        void operator()(libscols_table* table) const { scols_unref_table(table); }
    };
    std::unique_ptr<libscols_table, Release> m_table;
};

std::string joined(const std::vector<std::string>& texts, const char* separator) {
    std::string result;
    for (const auto& text : texts) {
        result += result.empty() ? text : separator + text;
    }
    return result;
}

std::string resultText(int result) {
    switch (result) {
        case 0:
            return "done";
        case QXA::QXAJournal::kInterrupted:
            return "interrupted";
        case QXA::QXAJournal::kRunning:
            return "at work";
        default:
            return "failed (" + std::to_string(result) + ")";
    }
}

void field(const char* name, const std::string& value) {
    if (!value.empty()) {
        std::printf("%-14s %s\n", name, base::printable(value).c_str());
    }
}

}  // namespace

void printPackageTable(const std::vector<PackageView>& packages, bool summaries) {
    if (summaries) {
        Table table({{"NAME", 0, 0},
                     {"VERSION", 0, 0},
                     {"TYPE", 0, 0},
                     {"ARCH", 0, 0},
                     {"OS", 0, 0},
                     {"SUMMARY", 0.3, SCOLS_FL_TRUNC}});
        for (const auto& view : packages) {
            table.addRow({view.name, view.version, view.kind, view.architecture,
                          view.osName.value_or(""), view.summary});
        }
        table.print();
        return;
    }
    Table table({{"NAME", 0, 0}, {"VERSION", 0, 0}, {"TYPE", 0, 0}, {"ARCH", 0, 0}, {"OS", 0, 0}});
    for (const auto& view : packages) {
        table.addRow(
            {view.name, view.version, view.kind, view.architecture, view.osName.value_or("")});
    }
    table.print();
}

void printPackageDetails(const std::vector<PackageView>& packages) {
    bool first = true;
    for (const auto& view : packages) {
        if (!first) {
            std::putchar('\n');
        }
        first = false;
        field("Name:", view.name);
        field("Version:", view.version);
        field("Type:", view.kind + (view.technology.empty() ? "" : " (" + view.technology + ")"));
        field("Architecture:", view.architecture);
        field("OS:", view.osName.value_or(""));
        field("OS version:", view.osVersion.value_or(""));
        field("Platform:", view.platform.value_or(""));
        field("Technologies:", joined(view.technologies, ", "));
        field("Summary:", view.summary);
        if (!view.description.empty()) {
            std::printf("Description:\n%s%s", base::printableLines(view.description).c_str(),
                        view.description.ends_with('\n') ? "" : "\n");
        }
    }
}

void printContainerTable(const std::vector<QXA::QXAEnvRecord>& containers) {
    Table table({{"CT", 0, SCOLS_FL_RIGHT},
                 {"EID", 0, 0},
                 {"OS TEMPLATE", 0, 0},
                 {"TEMPLATES", 0, 0},
                 {"PRIVATE AREA", 0, 0}});
    for (const auto& record : containers) {
        table.addRow({std::to_string(record.veid), record.eid.toString(), record.osTemplate,
                      joined(record.templates, " "), record.privateArea});
    }
    table.print();
}

void printContainerDetails(const QXA::QXAEnvRecord& container) {
    field("CT:", std::to_string(container.veid));
    field("EID:", container.eid.toString());
    field("Node:", container.parent.toString());
    field("Type:", container.type);
    field("OS template:", container.osTemplate);
    field("Templates:", joined(container.templates, " "));
    field("Private area:", container.privateArea);
}

void printHistoryTable(const std::vector<QXA::QXAJournalEntry>& entries) {
    Table table({{"ID", 0, SCOLS_FL_RIGHT},
                 {"TIME", 0, 0},
                 {"USER", 0, 0},
                 {"REQUEST", 0, 0},
                 {"TARGET", 0, 0},
                 {"PACKAGES", 0.3, SCOLS_FL_TRUNC},
                 {"RESULT", 0, 0}});
    for (const auto& entry : entries) {
        table.addRow({std::to_string(entry.id), entry.time, entry.user, entry.operation,
                      entry.target, joined(entry.packages, " "), resultText(entry.result)});
    }
    table.print();
}

}  // namespace qxa
