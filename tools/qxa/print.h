// What qxa prints: tables for people, JSON and XML for programs.
#pragma once

#include <string>
#include <vector>

#include "QXA/QXAEnvMLocal.h"
#include "QXA/QXAEventListener.h"
#include "QXA/QXAJournal.h"
#include "tools/qxa/options.h"
#include "tools/qxa/outcome.h"

namespace qxa {

/// Shows the outcomes of one command as they arrive.
class OutcomePrinter {
public:
    /// @param several    there are outcomes of several targets: each gets a heading.
    /// @param summaries  show the column of summaries.
    /// @param details    print one block per record instead of a table.
    OutcomePrinter(const CommonOptions& common, bool several, bool summaries, bool details)
        : m_common(common), m_several(several), m_summaries(summaries), m_details(details) {}

    /// Shows a result on standard output and a failure on standard error.
    void add(const Outcome& outcome);

    /// Prints JSON, which must be one whole. @return the worst exit code of all outcomes.
    ExitCode finish();

private:
    const CommonOptions& m_common;
    bool m_several;
    bool m_summaries;
    bool m_details;
    ExitCode m_exitCode = kExitDone;
    std::vector<Outcome> m_outcomes;
};

/// Reports a failure of a command that is not a package request. @return `exitCode`.
int printFailure(const CommonOptions& common, const std::string& what, const std::string& message,
                 ExitCode exitCode);

// print_table.cpp
void printPackageTable(const std::vector<PackageView>& packages, bool summaries);
void printPackageDetails(const std::vector<PackageView>& packages);
void printContainerTable(const std::vector<QXA::QXAEnvRecord>& containers);
void printContainerDetails(const QXA::QXAEnvRecord& container);
void printHistoryTable(const std::vector<QXA::QXAJournalEntry>& entries);

// json.cpp; the results are always valid UTF-8, whatever bytes the records hold.
std::string outcomesAsJson(const std::vector<Outcome>& outcomes, ExitCode exitCode);
std::string failureAsJson(const Outcome& outcome);
std::string containersAsJson(const std::vector<QXA::QXAEnvRecord>& containers);
std::string historyAsJson(const std::vector<QXA::QXAJournalEntry>& entries);
std::string eventAsJson(const QXA::QXAEvent& event);

}  // namespace qxa
