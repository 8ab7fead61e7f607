// The fake's state, and the agent's common library over it.
#include "tests/fakes/fake_platform.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "QXA/QXAEnvConfig.h"
#include "QXA/QXANotifications.h"
#include "QXL/QXLAccessChecker.h"
#include "QXL/QXLConfiguration.h"
#include "QXL/QXLLog.h"
#include "QXL/QXLMessage.h"
#include "QXL/QXLPkgMLocal.h"
#include "QXL/QXLRawRequestAgent.h"
#include "QXL/QXLToken.h"

namespace fakes {

namespace {

FakePlatform* serving = nullptr;

std::string formatted(const char* format, va_list arguments) {
    va_list copy;
    va_copy(copy, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, arguments);
    text.pop_back();
    return text;
}

}  // namespace

FakePlatform::FakePlatform() {
    serving = this;
}

FakePlatform::~FakePlatform() {
    serving = nullptr;
}

FakePlatform& FakePlatform::current() {
    if (serving == nullptr) {
        std::fputs("a platform call was made outside a test that has a FakePlatform\n", stderr);
        std::abort();
    }
    return *serving;
}

std::vector<std::string> FakePlatform::callsOf(const std::string& start) const {
    std::vector<std::string> found;
    for (const auto& call : calls) {
        if (call.starts_with(start)) {
            found.push_back(call);
        }
    }
    return found;
}

QXL::QXLEID addContainer(FakePlatform& platform, int veid, const std::string& osName) {
    char text[37];
    std::snprintf(text, sizeof text, "20000000-0000-0000-0000-%012d", veid);
    const auto eid = QXL::QXLEID::fromString(text);
    Environment environment;
    environment.parent = platform.localEid;
    environment.veid = veid;
    environment.osName = osName;
    if (!osName.empty()) {
        environment.osTemplate = QXA::QXATemplate(osName, "");
    }
    platform.environments[eid] = environment;
    return eid;
}

}  // namespace fakes

namespace QXL {

using fakes::FakePlatform;

/// What a configuration holds here: the environment that the test described.
class QXLEnvConfigMessage {
public:
    explicit QXLEnvConfigMessage(fakes::Environment described)
        : environment(std::move(described)) {}

    fakes::Environment environment;
};

namespace {

class FakeEnvCache : public QXLEnvCache {
public:
    std::shared_ptr<QXLEnv> getEnvCopy(const QXLEID& eid) override {
        auto& platform = FakePlatform::current();
        platform.record("envCache.getEnvCopy " + eid.toString());
        const auto found = platform.environments.find(eid);
        return found == platform.environments.end() ? nullptr : envOf(eid, found->second);
    }

    std::shared_ptr<QXLEnvList> getEnvList() override {
        auto& platform = FakePlatform::current();
        platform.record("envCache.getEnvList");
        if (!platform.hasList) {
            return nullptr;
        }
        auto list = std::make_shared<QXLEnvList>();
        for (const auto& [eid, environment] : platform.environments) {
            list->push_back(envOf(eid, environment));
        }
        return list;
    }

private:
    static std::shared_ptr<QXLEnv> envOf(const QXLEID& eid, const fakes::Environment& described) {
        return std::make_shared<QXLEnv>(
            eid, described.parent, described.type,
            QXLEnvConfig(std::make_shared<QXLEnvConfigMessage>(described)));
    }
};

thread_local QXLToken currentToken;

/// What the checker says of a right.
int rightResult(int right) {
    const auto& platform = FakePlatform::current();
    if (platform.checkerThrows) {
        throw std::runtime_error("of the access checker");
    }
    return platform.refusedRights.contains(right) ? platform.refusal : 0;
}

class FakeMessageIterator : public QXLMessageIterator {
public:
    ~FakeMessageIterator() override { FakePlatform::current().record("rawRequest.body deleted"); }
};

}  // namespace

QXLEID QXLConfiguration::getLocalEID() {
    return FakePlatform::current().localEid;
}

std::string QXLEnvConfig::getOS() const {
    return m_message == nullptr ? "" : m_message->environment.osName;
}

std::shared_ptr<QXLEnvCache> envCache() {
    return FakePlatform::current().hasCache ? std::make_shared<FakeEnvCache>() : nullptr;
}

void setErrorMessage(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    // Formatted first: arguments may point into the text that is replaced.
    auto text = fakes::formatted(format, arguments);
    va_end(arguments);
    FakePlatform::current().errorMessage = std::move(text);
}

const char* getErrorMessage() {
    return FakePlatform::current().errorMessage.c_str();
}

void clearErrorMessage() {
    FakePlatform::current().errorMessage.clear();
}

ErrorData getLastErrorData() {
    return FakePlatform::current().errorData;
}

void Logger::put(int level, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    FakePlatform::current().logLines.emplace_back(level, fakes::formatted(format, arguments));
    va_end(arguments);
}

Logger Log;

QXLToken QXLToken::getAgentToken() {
    return QXLToken(true);
}

QXLToken QXLToken::getCurrent() {
    return currentToken;
}

QXLToken QXLToken::setCurrent(const QXLToken& token) {
    const auto previous = currentToken;
    currentToken = token;
    return previous;
}

QXLAccessChecker QXLAccessChecker::getClientContext() {
    return QXLAccessChecker(QXLToken());
}

int QXLAccessChecker::accessCheck(int right) const {
    FakePlatform::current().record("accessCheck " + std::to_string(right));
    return rightResult(right);
}

int QXLAccessChecker::accessCheck(const QXLEID& eid, int right) const {
    FakePlatform::current().record("accessCheck " + eid.toString() + " " + std::to_string(right));
    return rightResult(right);
}

struct QXLRawRequestAgent::Impl {};

QXLRawRequestAgent::QXLRawRequestAgent(const QXLEID& eid, QXLAccess access) {
    auto& platform = FakePlatform::current();
    platform.record("rawRequest eid=" + eid.toString() + (access == nullptr ? " access=null" : ""));
    platform.agentTokenThroughout = QXLToken::getCurrent().isAgent();
}

QXLRawRequestAgent::~QXLRawRequestAgent() {
    auto& platform = FakePlatform::current();
    platform.record("rawRequest gone");
    platform.agentTokenThroughout &= QXLToken::getCurrent().isAgent();
}

QXLMessageIterator* QXLRawRequestAgent::beginCommand(const char* name, int flags,
                                                     const char* target) {
    auto& platform = FakePlatform::current();
    platform.record(std::string("rawRequest.begin ") + name + " " + std::to_string(flags) + " " +
                    target);
    platform.agentTokenThroughout &= QXLToken::getCurrent().isAgent();
    return platform.beginFails ? nullptr : new FakeMessageIterator;
}

int QXLRawRequestAgent::endCommand() {
    auto& platform = FakePlatform::current();
    platform.record("rawRequest.end");
    platform.agentTokenThroughout &= QXLToken::getCurrent().isAgent();
    return platform.endStatus;
}

QXLPkgMLocal::QXLPkgMLocal(QXLAccess access) : m_access(std::move(access)) {}

int QXLPkgMLocal::migrate(const QXLEID&, const QXLPackageList&, const QXLPackageManagerOptions&) {
    return -1;
}

int QXLPkgMLocal::exec(const std::vector<const char*>& argv,
                       bool (*onLine)(void* ctx, const char* line), void* ctx) {
    auto& platform = FakePlatform::current();
    std::string call = "exec";
    for (const auto* word : argv) {
        call += std::string(" [") + word + "]";
    }
    platform.record(call);
    if (platform.execScripts.empty()) {
        return 0;
    }
    const auto script = platform.execScripts.front();
    platform.execScripts.pop_front();
    for (const auto& line : script.lines) {
        onLine(ctx, line.c_str());
    }
    if (script.code != 0) {
        setErrorMessage("%s", script.reason.c_str());
    }
    return script.code;
}

}  // namespace QXL

namespace QXA {

using fakes::FakePlatform;

int QXAEnvConfig::getVeid(int& veid) const {
    if (message() == nullptr || message()->environment.veidResult != 0) {
        return message() == nullptr ? -1 : message()->environment.veidResult;
    }
    veid = message()->environment.veid;
    return 0;
}

int QXAEnvConfig::getOsTemplate(std::optional<QXATemplate>& osTemplate) const {
    if (message() == nullptr) {
        return -1;
    }
    osTemplate = message()->environment.osTemplate;
    return message()->environment.osTemplateResult;
}

int QXAEnvConfig::getTemplates(std::optional<std::vector<QXATemplate>>& templates) const {
    if (message() == nullptr) {
        return -1;
    }
    templates = message()->environment.templates;
    return message()->environment.templatesResult;
}

QXANotifications::QXANotifications(const QXL::QXLEID& eid, QXL::QXLAccess access)
    : m_eid(eid), m_access(std::move(access)) {
    FakePlatform::current().record("notifications eid=" + m_eid.toString() +
                                   (m_access == nullptr ? " access=null" : ""));
}

QXANotifications::~QXANotifications() = default;

int QXANotifications::sendCommandConfUpdate(int veid) {
    auto& platform = FakePlatform::current();
    platform.record("sendCommandConfUpdate " + std::to_string(veid));
    return platform.notificationResult;
}

}  // namespace QXA
