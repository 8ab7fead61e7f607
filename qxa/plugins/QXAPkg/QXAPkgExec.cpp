// Runs the KR tool.
#include "qxa/plugins/QXAPkg/QXAPkgExec.h"

#include <array>
#include <cstring>
#include <memory>
#include <numeric>

#include "qxa/plugins/QXAPkg/QXAKRPackages.h"

namespace QXA {

namespace {

constexpr const char* kProgram = "qxpkg";
constexpr const char* kTemplate = "template";
constexpr const char* kFetch = "fetch";
constexpr const char* kQuiet = "-q";
constexpr const char* kBlanks = " \t";

struct Switch {
    int flag;
    const char* word;
};
constexpr std::array kSwitches{
    Switch{QXL::kPkgOptionCacheOnly, "-C"},
    Switch{QXL::kPkgOptionDryRun, "-n"},
    Switch{QXL::kPkgOptionWithDependent, "-w"},
    Switch{QXL::kPkgOptionForce, "-f"},
};

/// The words of a line, one after the other.
class Words {
public:
    explicit Words(const char* line) : m_end(line) {}

    /// Takes the next word. @return false when there is none.
    bool next(std::string& word) {
        const char* start = m_end;
        if (!nextToken(start, m_end, kBlanks)) {
            return false;
        }
        word.assign(start, m_end);
        return true;
    }

private:
    const char* m_end;
};

bool isHeading(const char* line) {
    const char* colon = std::strchr(line, ':');
    return colon != nullptr && colon[1] == '\0';
}

}  // namespace

exec_argument_type makeExecArguments(const char* command, int flags, const QXL::QXLEID& eid) {
    exec_argument_type arguments{kProgram, command};
    // "fetch" works on packages, so it does not get the word "template" even for the node.
    if (eid == QXL::QXLEID::EID_LOCAL && std::strcmp(command, kFetch) != 0) {
        arguments.emplace_back(kTemplate);
    }
    arguments.emplace_back(kQuiet);
    if (flags > 0) {
        for (const auto& known : kSwitches) {
            if ((flags & known.flag) != 0) {
                arguments.emplace_back(known.word);
            }
        }
    }
    return arguments;
}

std::string joinExecArguments(const exec_argument_type& arguments) {
    return std::accumulate(arguments.begin(), arguments.end(), std::string(), join(" "));
}

int execCommand(const exec_argument_type& arguments) {
    QXLPkgLocalExecStub stub;
    return QXLPkgLocalExecHelperT<QXLPkgLocalExecStub>(stub).exec(arguments);
}

int execCommand(const exec_argument_type& arguments, ExecLineParser parser,
                QXL::QXLPackageList* out) {
    if (out == nullptr) {
        return execCommand(arguments);
    }
    const auto handler = [parser, out](const char* line) { return parser(*out, line); };
    return QXLPkgLocalExecHelperT<decltype(handler)>(handler).exec(arguments);
}

bool nextToken(const char*& start, const char*& end, const char* delimiters) {
    start += std::strspn(start, delimiters);
    end = start + std::strcspn(start, delimiters);
    return end != start;
}

bool parsePackageLine(QXL::QXLPackageList& out, const char* line) {
    if (isHeading(line)) {
        return true;
    }
    Words words(line);
    std::string name;
    if (!words.next(name)) {
        return true;
    }
    auto record = std::make_shared<QXL::QXLPackageRpm>();
    record->name = name;
    record->os.platform = kLinuxPlatform;
    std::string skipped;
    std::string version;
    if (words.next(skipped) && words.next(version)) {
        record->version = version;
    }
    out.push_back(std::move(record));
    return true;
}

bool parseTemplateLine(QXL::QXLPackageList& out, const char* line) {
    Words words(line);
    std::string first;
    std::string second;
    if (!words.next(first) || !words.next(second)) {
        return true;
    }
    auto record = std::make_shared<QXAPackageQXTemplate>();
    record->os.platform = kLinuxPlatform;
    record->isOsTemplate = second == kTemplate;
    if (record->isOsTemplate) {
        assignDottedName(record->name, first.c_str());
    } else {
        assignDottedName(record->name, second.c_str());
        assignOsName(*record, first.c_str());
    }
    out.push_back(std::move(record));
    return true;
}

}  // namespace QXA
