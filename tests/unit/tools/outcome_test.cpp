// Outcomes on their way between processes and into JSON.
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "tools/qxa/print.h"
#include "tools/qxa/run_targets.h"

namespace qxa {
namespace {

const std::string kBadUtf8 = "caf\xe9 \xff";

Outcome fullOutcome() {
    Outcome outcome;
    outcome.operation = "install";
    outcome.target = "101";
    outcome.code = 3510;
    outcome.message = kBadUtf8;
    outcome.exitCode = kExitRefused;
    outcome.xml = "<x/>";
    PackageView view;
    view.name = "base/1";
    view.version = "1";
    view.kind = "os";
    view.technology = "standard";
    view.architecture = "x86_64";
    view.summary = "a summary";
    view.description = kBadUtf8;
    view.platform = "Linux";
    view.osVersion = "";
    view.technologies = {"nptl", "x86"};
    outcome.packages = {view};
    return outcome;
}

TEST(SerializedOutcome, comesBackWithEveryFieldAndByte) {
    const auto sent = fullOutcome();

    Outcome received;
    ASSERT_TRUE(deserialize(serialize(sent), received));

    EXPECT_EQ(sent.operation, received.operation);
    EXPECT_EQ(sent.target, received.target);
    EXPECT_EQ(sent.code, received.code);
    EXPECT_EQ(sent.message, received.message);
    EXPECT_EQ(sent.exitCode, received.exitCode);
    EXPECT_EQ(sent.xml, received.xml);
    ASSERT_EQ(1U, received.packages.size());
    const auto& view = received.packages[0];
    EXPECT_EQ("base/1", view.name);
    EXPECT_EQ("os", view.kind);
    EXPECT_EQ("standard", view.technology);
    EXPECT_EQ(kBadUtf8, view.description);
    EXPECT_EQ("Linux", view.platform);
    EXPECT_EQ(std::nullopt, view.osName);
    EXPECT_EQ("", view.osVersion);
    EXPECT_EQ(sent.packages[0].technologies, view.technologies);
}

TEST(SerializedOutcome, cutShortIsNoOutcome) {
    const auto text = serialize(fullOutcome());

    Outcome received;
    EXPECT_FALSE(deserialize(text.substr(0, text.size() / 2), received));
    EXPECT_FALSE(deserialize("", received));
}

TEST(OutcomesAsJson, areValidWhateverBytesTheTextsHold) {
    const auto json = nlohmann::json::parse(outcomesAsJson({fullOutcome()}, kExitRefused));

    EXPECT_EQ(5, json.at("exit"));
    const auto& result = json.at("results").at(0);
    EXPECT_EQ("101", result.at("target"));
    EXPECT_EQ(3510, result.at("code"));
    EXPECT_EQ("base/1", result.at("packages").at(0).at("name"));
    EXPECT_EQ(nullptr, result.at("packages").at(0).at("os").at("name"));
}

TEST(FailureAsJson, isOneLine) {
    const auto text = failureAsJson(fullOutcome());

    EXPECT_EQ(std::string::npos, text.find('\n'));
    EXPECT_EQ("install", nlohmann::json::parse(text).at("operation"));
}

std::vector<Target> targets(std::initializer_list<const char*> labels) {
    std::vector<Target> list;
    for (const auto* label : labels) {
        Target target;
        target.label = label;
        list.push_back(target);
    }
    return list;
}

Outcome outcomeFor(const Target& target) {
    Outcome outcome;
    outcome.target = target.label;
    return outcome;
}

TEST(RunOnTargets, handsOutcomesOverInTheTargetsOrder) {
    std::vector<std::string> order;

    runOnTargets(targets({"3", "1", "2", "5"}), "install", 3, outcomeFor,
                 [&](const Outcome& outcome) { order.push_back(outcome.target); });

    EXPECT_EQ((std::vector<std::string>{"3", "1", "2", "5"}), order);
}

TEST(RunOnTargets, aRequestThatDiesTakesNoOtherWithIt) {
    std::vector<Outcome> outcomes;

    runOnTargets(
        targets({"1", "2", "3"}), "install", 2,
        [](const Target& target) {
            if (target.label == "2") {
                raise(SIGKILL);
            }
            return outcomeFor(target);
        },
        [&](const Outcome& outcome) { outcomes.push_back(outcome); });

    ASSERT_EQ(3U, outcomes.size());
    EXPECT_EQ(kExitDone, outcomes[0].exitCode);
    EXPECT_EQ(kExitFailed, outcomes[1].exitCode);
    EXPECT_EQ("the request was ended by signal 9 (Killed)", outcomes[1].message);
    EXPECT_EQ("install", outcomes[1].operation);
    EXPECT_EQ(kExitDone, outcomes[2].exitCode);
}

TEST(RunOnTargets, anExceptionOfARequestIsItsFailureAndItsReason) {
    const pid_t caller = getpid();
    std::vector<std::string> messages;

    runOnTargets(
        targets({"1", "2"}), "install", 2,
        [](const Target& target) -> Outcome { throw std::runtime_error("no " + target.label); },
        [&](const Outcome& outcome) { messages.push_back(outcome.message); });

    ASSERT_EQ(caller, getpid());
    EXPECT_EQ((std::vector<std::string>{"no 1", "no 2"}), messages);
}

TEST(RunOnTargets, aLargeOutcomeArrivesWhole) {
    std::size_t length = 0;

    runOnTargets(
        targets({"1", "2"}), "install", 2,
        [](const Target& target) {
            auto outcome = outcomeFor(target);
            outcome.message.assign(1U << 20, 'x');
            return outcome;
        },
        [&](const Outcome& outcome) { length += outcome.message.size(); });

    EXPECT_EQ(2U << 20, length);
}

}  // namespace
}  // namespace qxa
