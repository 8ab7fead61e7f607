// What qxpkg does with the node's KR templates and their caches.
#pragma once

#include <string>
#include <vector>

#include "node/qxpkg/options.h"
#include "node/qxpkg/output.h"

namespace qxpkg {

// All throw Failure (or another std::exception, which counts as kFailed). Each takes the templates'
// lock, finishes what a killed writer left, and changes all of its list or nothing; result lines go
// to `output` when the change holds. With options.dryRun they say what they would do.

/// Installs template packages. Throws kNotKrTemplate when any of the files is no KR template
/// package, before anything else is judged; kRefused for a template that is there already or made
/// for another architecture, unless forced.
void installNodeTemplates(const std::vector<std::string>& files, const Options& options,
                          const Output& output);

/// The same, in place of what is older. A template that is there in this or a newer version is
/// left and reported as done, unless forced.
void updateNodeTemplates(const std::vector<std::string>& files, const Options& options,
                         const Output& output);

/// Removes OS templates with their caches. kRefused while a container uses one, or an application
/// template of one is left (options.withDependents takes those along), unless forced.
void removeOsTemplates(const std::vector<std::string>& names, const Options& options,
                       const Output& output);

/// Removes application templates of one OS template; kRefused while a container uses one.
void removeApplicationTemplates(const std::string& os, const std::vector<std::string>& names,
                                const Options& options, const Output& output);

/// Builds caches. kRefused when one is there already, unless forced.
void createCaches(const std::vector<std::string>& names, const Options& options,
                  const Output& output);

/// Builds caches anew; no names: of every OS template that has one. Each OS template is a change of
/// its own: one that fails leaves its old cache and does not keep the others from being renewed.
void updateCaches(const std::vector<std::string>& names, const Options& options,
                  const Output& output);

/// Removes what a killed or interrupted writer left, unless another writer is at work.
void recoverNodeTemplates();

/// Says what is not right with a container: its area and root, templates that it names and the node
/// lacks, and what the area checker finds. @throws Failure when anything is not right.
void verifyContainer(int veid, const Output& output);

/// Writes a package of a folder that holds "template.toml", optionally "keys" and, for an OS
/// template, "app". The same folder gives the same bytes. What installing would refuse is refused
/// here. @throws Failure.
void packTemplate(const std::string& folder, const std::string& file);

}  // namespace qxpkg
