// A recording implementation of platform/: every call is written down in order with its arguments,
// and answers what the test scripted. A test makes one FakePlatform, which serves all calls until
// it goes; nothing is shared between tests.
#pragma once

#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "QXA/QXATEMLocal.h"
#include "QXL/QXLEID.h"
#include "QXL/QXLEnv.h"
#include "QXL/QXLError.h"

namespace fakes {

/// An environment as the fake cache holds it.
struct Environment {
    QXL::QXLEID parent;  ///< default: the fake node
    std::string type = "meridane";
    std::string osName;  ///< what getOS() answers
    std::optional<QXA::QXATemplate> osTemplate;
    std::optional<std::vector<QXA::QXATemplate>> templates;
    int veid = 0;
    int veidResult = 0;
    int osTemplateResult = 0;
    int templatesResult = 0;
};

/// One run of a program.
struct ExecScript {
    int code = 0;
    std::vector<std::string> lines;  ///< handed to the callback in order
    std::string reason;              ///< the message set when the code is not 0
};

class FakePlatform {
public:
    FakePlatform();
    ~FakePlatform();
    FakePlatform(const FakePlatform&) = delete;
    FakePlatform& operator=(const FakePlatform&) = delete;

    /// The one that serves calls now; a call without one ends the process with a message.
    static FakePlatform& current();

    /// Writes a call down.
    void record(const std::string& call) { calls.push_back(call); }

    /// Calls that begin with `start`, in order.
    [[nodiscard]] std::vector<std::string> callsOf(const std::string& start) const;

    // What was called, oldest first, as "function argument=value ...".
    std::vector<std::string> calls;
    std::vector<std::pair<int, std::string>> logLines;  ///< level and text

    // Environments.
    QXL::QXLEID localEid = QXL::QXLEID::fromString("10000000-0000-0000-0000-000000000001");
    bool hasCache = true;
    bool hasList = true;
    std::map<QXL::QXLEID, Environment> environments;

    // Rights: refused ones answer with this code, all others 0.
    std::set<int> refusedRights;
    int refusal = 13;
    bool checkerThrows = false;  ///< instead, every look at a right throws std::runtime_error

    // The functionality kit: while it cannot be had, asking for it throws std::bad_alloc.
    bool kitThrows = false;

    // Template manager. Results are taken from the front of a call's queue; an empty one answers 0.
    std::map<std::string, std::deque<int>> temResults;  ///< by "ls", "add", "rm", "set", ...
    std::vector<QXA::QXAPackageInfo> lsInfos;           ///< what ls() answers for the node
    std::map<QXL::QXLEID, std::vector<QXA::QXAPackageInfo>> lsInfosOf;  ///< for environments
    std::map<std::string, QXA::QXAPackageInfo> getInfos;        ///< by key text; others are -30
    std::map<std::string, QXA::QXATemplateConfigInfo> configs;  ///< by key text; others are -51
    std::map<std::string, int> configResults;                   ///< by key text, before `configs`
    std::vector<QXA::QXAPackageInfo> setInfos;

    // Programs.
    std::deque<ExecScript> execScripts;

    // Raw requests and notifications.
    bool beginFails = false;
    int endStatus = 0;
    QXL::ErrorData errorData;
    int notificationResult = 0;
    bool agentTokenThroughout = false;  ///< it was current in every step of the last raw request

    // Messages.
    std::string errorMessage;
};

/// Makes a container known to the cache. @return its EID.
QXL::QXLEID addContainer(FakePlatform& platform, int veid, const std::string& osName);

}  // namespace fakes
