// See container_names.h.
#include "node/qxpkg/container_names.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace qxpkg {

namespace {

bool isOption(const std::string& word) {
    return word.size() > 1 && word.front() == '-';
}

bool takesValue(const CLI::App& app, const std::string& option) {
    const CLI::Option* known = app.get_option_no_throw(option);
    return known != nullptr && known->get_items_expected_min() > 0;
}

bool changesContainers(const std::string& command) {
    return command == "install" || command == "update" || command == "remove";
}

bool isNumber(const std::string& word) {
    return word.find_first_not_of("0123456789") == std::string::npos && !word.empty();
}

}  // namespace

std::vector<std::string> takeContainerNames(const CLI::App& app, std::vector<std::string>& words) {
    bool commandSeen = false;
    for (auto word = words.begin(); word != words.end(); ++word) {
        if (isOption(*word)) {
            // The value is a word of its own unless it is joined with "=".
            word += takesValue(app, *word) && word + 1 != words.end() ? 1 : 0;
        } else if (commandSeen) {
            if (!isNumber(*word)) {
                return {};
            }
            std::vector<std::string> names(word + 1, words.end());
            words.erase(word + 1, words.end());
            return names;
        } else if (changesContainers(*word)) {
            commandSeen = true;
        } else {
            return {};
        }
    }
    return {};
}

}  // namespace qxpkg
