// One package request on one target, made as an agent makes it.
#pragma once

#include <string>

#include "tools/qxa/options.h"
#include "tools/qxa/outcome.h"
#include "tools/qxa/plugin.h"
#include "tools/qxa/targets.h"

namespace qxa {

enum class Operation { install, remove, update, list, info, fetch, clean };

/// The operation's name on the command line and in the journal.
const char* operationName(Operation operation);

/// True for operations that change something and are therefore journalled.
bool changes(Operation operation);

struct Request {
    Operation operation = Operation::list;
    PackageOptions options;
    bool wantXml = false;
};

/// Runs the request with the plug-in and journals it. A request that fails does not throw.
Outcome runRequest(const Plugin& plugin, const Request& request, const Target& target);

}  // namespace qxa
