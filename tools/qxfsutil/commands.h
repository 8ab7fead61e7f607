// The commands of qxfsutil. Each returns the exit code of the program.
#pragma once

#include "tools/qxfsutil/options.h"

namespace qxfsutil {

/// Checks areas or single index files, and repairs areas according to the mode.
int runCheck(const Options& options);
int runIndex(const Options& options);
int runUndo(const Options& options);
int runRestore(const Options& options);

int runList(const Options& options);
int runCat(const Options& options);
int runClone(const Options& options);
/// @param missingOnly  only those that do not exist
int runUsed(const Options& options, bool missingOnly);

int runDump(const Options& options);
int runBuild(const Options& options);
int runStat(const Options& options);

/// Prints the table of findings.
int runFindings(const Options& options);

/// Reports that a command could not do its work. @return kExitOperational.
int reportFailure(const Options& options, const std::string& what, const std::string& message);

/// Prints a remark that is not a failure on standard error.
void reportNote(const Options& options, const std::string& what, const std::string& message);

}  // namespace qxfsutil
