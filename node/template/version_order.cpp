// Names and versions of templates.
#include "node/template/version_order.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace QXA::tem {

namespace {

bool isAsciiAlnum(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

bool isAllowed(char c) {
    return isAsciiAlnum(c) || std::string_view("._+-:~").find(c) != std::string_view::npos;
}

}  // namespace

bool isValidVersion(std::string_view version) {
    return !version.empty() && version.size() <= kMaxNameLength && isAsciiAlnum(version.front()) &&
           std::all_of(version.begin(), version.end(), isAllowed);
}

bool isValidName(std::string_view name) {
    // "kr" is the folder of KR templates, "vc" that of their caches.
    return isValidVersion(name) && name != "kr" && name != "vc";
}

bool versionLess(const std::string_view& a, const std::string_view& b) {
    const std::string left(a);
    const std::string right(b);
    const int order = strverscmp(left.c_str(), right.c_str());
    return order != 0 ? order < 0 : left < right;
}

}  // namespace QXA::tem
