// Completion scripts, generated from the option tree so that they always match it.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace cli {

/// Prints the completion script of `app` for "bash", "zsh" or "fish".
void printCompletion(const CLI::App& app, const std::string& shell);

}  // namespace cli
