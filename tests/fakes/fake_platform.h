// An implementation of platform/ for tests: it records every call with its arguments and returns
// the results that the test has set. A test makes one FakePlatform, which serves all calls until it
// is destroyed; tests share nothing.
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

/// An environment in the fake cache.
struct Environment {
    QXL::QXLEID parent;  ///< default: the fake node
    std::string type = "meridane";
    std::string osName;  ///< result of getOS()
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
    std::vector<std::string> lines;  ///< passed to the callback in order
    std::string reason;              ///< the message that is set if the code is not 0
};

class FakePlatform {
public:
    FakePlatform();
    ~FakePlatform();
    FakePlatform(const FakePlatform&) = delete;
    FakePlatform& operator=(const FakePlatform&) = delete;

    /// The present object; without one a call ends the process with a message.
    static FakePlatform& current();

    /// Records a call.
    void record(const std::string& call) { calls.push_back(call); }

    /// Calls that begin with `start`, in order.
    [[nodiscard]] std::vector<std::string> callsOf(const std::string& start) const;

    // The calls in order, as "function argument=value ...".
    std::vector<std::string> calls;
    std::vector<std::pair<int, std::string>> logLines;  ///< level and text

    // Environments.
    QXL::QXLEID localEid = QXL::QXLEID::fromString("10000000-0000-0000-0000-000000000001");
    bool hasCache = true;
    bool hasList = true;
    std::map<QXL::QXLEID, Environment> environments;

    // Rights: a check of a refused right returns this code, of any other 0.
    std::set<int> refusedRights;
    int refusal = 13;
    bool checkerThrows = false;  ///< every check throws std::runtime_error instead

    // If set, kit() throws std::bad_alloc.
    bool kitThrows = false;

    // Template manager. Each call takes its result from the front of its queue; 0 if that is empty.
    std::map<std::string, std::deque<int>> temResults;  ///< by "ls", "add", "rm", "set", ...
    std::vector<QXA::QXAPackageInfo> lsInfos;           ///< result of ls() for the node
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
    bool agentTokenThroughout = false;  ///< it was current during the whole last raw request

    // Messages.
    std::string errorMessage;
};

/// Makes a container known to the cache. @return its EID.
QXL::QXLEID addContainer(FakePlatform& platform, int veid, const std::string& osName);

}  // namespace fakes
