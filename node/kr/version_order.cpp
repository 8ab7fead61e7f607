// The two orders of versions; see version_order.h.
#include "node/kr/version_order.h"

#include <algorithm>
#include <cctype>

namespace qxnode {

namespace {

struct Version {
    std::string_view epoch;
    std::string_view upstream;
    std::string_view revision;
};

/// The revision follows the last hyphen; rpm versions have only one hyphen.
Version split(std::string_view text) {
    Version version;
    const std::size_t colon = text.find(':');
    if (colon != std::string_view::npos) {
        version.epoch = text.substr(0, colon);
        text.remove_prefix(colon + 1);
    }
    const std::size_t hyphen = text.rfind('-');
    version.upstream = text.substr(0, hyphen);
    if (hyphen != std::string_view::npos) {
        version.revision = text.substr(hyphen + 1);
    }
    return version;
}

bool isDigit(char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

bool isLetter(char c) {
    return std::isalpha(static_cast<unsigned char>(c)) != 0;
}

/// Removes the digits at the front and returns them without leading zeros; such numbers can be
/// compared by length and then by text.
std::string_view takeNumber(std::string_view& text) {
    const auto digits = static_cast<std::size_t>(
        std::find_if_not(text.begin(), text.end(), isDigit) - text.begin());
    std::string_view number = text.substr(0, digits);
    text.remove_prefix(digits);
    number.remove_prefix(std::min(number.find_first_not_of('0'), number.size()));
    return number;
}

int compareNumbers(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return a.size() < b.size() ? -1 : 1;
    }
    return a.compare(b);
}

/// deb: a tilde sorts before the end of the text, and letters before all other characters.
int debWeight(std::string_view text) {
    if (text.empty() || isDigit(text.front())) {
        return 0;
    }
    const char c = text.front();
    if (c == '~') {
        return -1;
    }
    constexpr int behindLetters = 256;
    return isLetter(c) ? c : static_cast<unsigned char>(c) + behindLetters;
}

/// deb: compares parts without digits and numbers in turn.
int compareDeb(std::string_view a, std::string_view b) {
    while (!a.empty() || !b.empty()) {
        while ((!a.empty() && !isDigit(a.front())) || (!b.empty() && !isDigit(b.front()))) {
            const int order = debWeight(a) - debWeight(b);
            if (order != 0) {
                return order;
            }
            a.remove_prefix(a.empty() ? 0 : 1);
            b.remove_prefix(b.empty() ? 0 : 1);
        }
        const int order = compareNumbers(takeNumber(a), takeNumber(b));
        if (order != 0) {
            return order;
        }
    }
    return 0;
}

bool separates(char c) {
    return !isDigit(c) && !isLetter(c) && c != '~' && c != '^';
}

std::string_view takeLetters(std::string_view& text) {
    const auto letters = static_cast<std::size_t>(
        std::find_if_not(text.begin(), text.end(), isLetter) - text.begin());
    const std::string_view word = text.substr(0, letters);
    text.remove_prefix(letters);
    return word;
}

/// rpm: compares the marks "~" (sorts before the end of the text) and "^" (after the end, but
/// before anything else). 0 if both have the mark, which is then removed, or neither has it.
int compareMarks(std::string_view& a, std::string_view& b, char mark, bool& found) {
    const bool inA = a.starts_with(mark);
    const bool inB = b.starts_with(mark);
    found = inA && inB;
    if (found) {
        a.remove_prefix(1);
        b.remove_prefix(1);
        return 0;
    }
    if (!inA && !inB) {
        return 0;
    }
    if (mark == '~') {
        return inA ? -1 : 1;
    }
    if (inA) {
        return b.empty() ? 1 : -1;
    }
    return a.empty() ? -1 : 1;
}

/// rpm: compares runs of digits and of letters; a number is newer than a word, and separators are
/// ignored.
int compareRpm(std::string_view a, std::string_view b) {
    while (!a.empty() || !b.empty()) {
        a.remove_prefix(
            static_cast<std::size_t>(std::find_if_not(a.begin(), a.end(), separates) - a.begin()));
        b.remove_prefix(
            static_cast<std::size_t>(std::find_if_not(b.begin(), b.end(), separates) - b.begin()));
        bool marked = false;
        for (const char mark : {'~', '^'}) {
            const int order = compareMarks(a, b, mark, marked);
            if (order != 0) {
                return order;
            }
            if (marked) {
                break;
            }
        }
        if (marked) {
            continue;
        }
        if (a.empty() || b.empty()) {
            break;
        }
        if (isDigit(a.front()) != isDigit(b.front())) {
            return isDigit(a.front()) ? 1 : -1;
        }
        const int order = isDigit(a.front()) ? compareNumbers(takeNumber(a), takeNumber(b))
                                             : takeLetters(a).compare(takeLetters(b));
        if (order != 0) {
            return order;
        }
    }
    if (a.empty() && b.empty()) {
        return 0;
    }
    return a.empty() ? -1 : 1;
}

int compareWhole(std::string_view a, std::string_view b,
                 int (*compare)(std::string_view, std::string_view)) {
    const Version left = split(a);
    const Version right = split(b);
    // A missing epoch means 0.
    std::string_view leftEpoch = left.epoch;
    std::string_view rightEpoch = right.epoch;
    int order = compareNumbers(takeNumber(leftEpoch), takeNumber(rightEpoch));
    if (order == 0) {
        order = compare(left.upstream, right.upstream);
    }
    return order != 0 ? order : compare(left.revision, right.revision);
}

}  // namespace

int compareDebVersions(std::string_view a, std::string_view b) {
    return compareWhole(a, b, compareDeb);
}

int compareRpmVersions(std::string_view a, std::string_view b) {
    return compareWhole(a, b, compareRpm);
}

}  // namespace qxnode
