// The operations of qxpkg on the node's KR templates and their caches.
#pragma once

#include <string>
#include <vector>

#include "node/qxpkg/options.h"
#include "node/qxpkg/output.h"

namespace qxpkg {

// All throw Failure (or another std::exception, which means kFailed). Each takes the templates'
// lock, finishes what a killed writer left, and does its whole list or nothing. Result lines are
// printed after the change has taken effect. With options.dryRun they print what they would do.

/// Installs template packages. Throws kNotKrTemplate if one of the files is not a KR template
/// package, before it looks for other errors; kRefused if a template already exists or is for
/// another architecture, unless forced.
void installNodeTemplates(const std::vector<std::string>& files, const Options& options,
                          const Output& output);

/// The same, but replaces older versions. A template that exists in this or a newer version is left
/// and reported as done, unless forced.
void updateNodeTemplates(const std::vector<std::string>& files, const Options& options,
                         const Output& output);

/// Removes OS templates with their caches. kRefused if a container uses one, or if one still has
/// application templates (options.withDependents also removes them), unless forced.
void removeOsTemplates(const std::vector<std::string>& names, const Options& options,
                       const Output& output);

/// Removes application templates of one OS template; kRefused if a container uses one.
void removeApplicationTemplates(const std::string& os, const std::vector<std::string>& names,
                                const Options& options, const Output& output);

/// Builds caches. kRefused if one already exists, unless forced.
void createCaches(const std::vector<std::string>& names, const Options& options,
                  const Output& output);

/// Rebuilds caches; no names: those of every OS template that has one. Each OS template is a
/// separate change: if it fails, its old cache stays, and the others are still rebuilt.
void updateCaches(const std::vector<std::string>& names, const Options& options,
                  const Output& output);

/// Removes what a killed or interrupted writer left, unless another writer is at work.
void recoverNodeTemplates();

/// Reports what is wrong with a container: its area and root, templates that its configuration
/// names and the node lacks, and errors that the area checker finds. @throws Failure if anything is
/// wrong.
void verifyContainer(int veid, const Output& output);

/// Packs a folder with "template.toml", optionally "keys" and, for an OS template, "app". The same
/// folder always gives the same bytes. Refuses everything that an installation would refuse.
/// @throws Failure.
void packTemplate(const std::string& folder, const std::string& file);

}  // namespace qxpkg
