// See tool_path.h.
#include "tools/qxa/tool_path.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <vector>

namespace qxa {

namespace {

/// Installed programs are in folders below these.
constexpr std::string_view kSystemTops[] = {"/usr/", "/bin/", "/sbin/", "/opt/"};

bool isSystemFolder(const std::string& folder) {
    return std::any_of(std::begin(kSystemTops), std::end(kSystemTops),
                       [&](std::string_view top) { return (folder + "/").starts_with(top); });
}

std::vector<std::string> foldersOf(const std::string& path) {
    std::vector<std::string> folders;
    for (std::size_t begin = 0; begin < path.size();) {
        const std::size_t end = std::min(path.find(':', begin), path.size());
        folders.push_back(path.substr(begin, end - begin));
        begin = end + 1;
    }
    return folders;
}

}  // namespace

std::string pathWith(const std::string& path, const std::string& folder) {
    std::vector<std::string> folders = foldersOf(path);
    if (std::find(folders.begin(), folders.end(), folder) != folders.end()) {
        return path;
    }
    folders.insert(std::find_if(folders.begin(), folders.end(), isSystemFolder), folder);
    std::string joined;
    for (const std::string& each : folders) {
        joined += (&each == &folders.front() ? "" : ":") + each;
    }
    return joined;
}

}  // namespace qxa
