// Chooses how and where outcomes are shown.
#include "tools/qxa/print.h"

#include <cstdio>

#include "QXL/QXLResult.h"
#include "base/escape.h"

namespace qxa {

namespace {

void line(std::FILE* stream, const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stream);
    std::fputc('\n', stream);
}

void reportFailure(const CommonOptions& common, const Outcome& outcome) {
    if (common.format == Format::json) {
        line(stderr, failureAsJson(outcome));
        return;
    }
    // The plug-in sets no message if a right is missing.
    const std::string unsaid =
        outcome.code == QXL::kPkgAccessDenied ? "access denied" : "no reason was given";
    const std::string& reason = outcome.message.empty() ? unsaid : outcome.message;
    line(stderr, base::printable("qxa: " + outcome.operation + " on " + outcome.target +
                                 " failed: " + reason) +
                     " (code " + std::to_string(outcome.code) + ")");
}

}  // namespace

void OutcomePrinter::add(const Outcome& outcome) {
    m_exitCode = worse(m_exitCode, outcome.exitCode);
    std::fflush(stdout);
    if (outcome.exitCode != kExitDone) {
        reportFailure(m_common, outcome);
    }
    switch (m_common.format) {
        case Format::json:
            m_outcomes.push_back(outcome);
            return;
        case Format::xml:
            std::fputs(outcome.xml.c_str(), stdout);
            return;
        case Format::table:
            break;
    }
    if (m_several && !m_common.quiet) {
        line(stdout, outcome.target + ": " + (outcome.exitCode == kExitDone ? "done" : "failed"));
    }
    if (outcome.packages.empty()) {
        return;
    }
    if (m_details) {
        printPackageDetails(outcome.packages);
    } else {
        printPackageTable(outcome.packages, m_summaries);
    }
}

ExitCode OutcomePrinter::finish() {
    if (m_common.format == Format::json) {
        line(stdout, outcomesAsJson(m_outcomes, m_exitCode));
    }
    return m_exitCode;
}

int printFailure(const CommonOptions& common, const std::string& what, const std::string& message,
                 ExitCode exitCode) {
    Outcome outcome;
    outcome.operation = what;
    outcome.target = "node";
    outcome.code = -1;
    outcome.message = message;
    outcome.exitCode = exitCode;
    if (common.format == Format::json) {
        line(stderr, failureAsJson(outcome));
    } else {
        line(stderr, base::printable("qxa: " + what + ": " + message));
    }
    return exitCode;
}

}  // namespace qxa
