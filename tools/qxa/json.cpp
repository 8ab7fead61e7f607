// JSON forms of everything that qxa shows, and of outcomes that are sent between processes.
#include <nlohmann/json.hpp>

#include "tools/qxa/print.h"

namespace qxa {

namespace {

// Fields are in their documented order.
using Json = nlohmann::ordered_json;

std::string text(const Json& json) {
    // Names and texts may hold any bytes. A byte that is not UTF-8 becomes U+FFFD; it must not
    // cause an exception.
    return json.dump(2, ' ', false, Json::error_handler_t::replace);
}

std::string lineOf(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Json optional(const std::optional<std::string>& value) {
    return value.has_value() ? Json(*value) : Json(nullptr);
}

std::optional<std::string> optionalText(const Json& json) {
    return json.is_null() ? std::nullopt : std::optional(json.get<std::string>());
}

Json packageJson(const PackageView& view) {
    return {{"name", view.name},
            {"version", view.version},
            {"type", view.kind},
            {"technology", view.technology},
            {"architecture", view.architecture},
            {"os",
             {{"platform", optional(view.platform)},
              {"name", optional(view.osName)},
              {"version", optional(view.osVersion)}}},
            {"summary", view.summary},
            {"description", view.description},
            {"technologies", view.technologies}};
}

PackageView packageView(const Json& json) {
    PackageView view;
    view.name = json.at("name");
    view.version = json.at("version");
    view.kind = json.at("type");
    view.technology = json.at("technology");
    view.architecture = json.at("architecture");
    view.platform = optionalText(json.at("os").at("platform"));
    view.osName = optionalText(json.at("os").at("name"));
    view.osVersion = optionalText(json.at("os").at("version"));
    view.summary = json.at("summary");
    view.description = json.at("description");
    view.technologies = json.at("technologies").get<std::vector<std::string>>();
    return view;
}

Json outcomeJson(const Outcome& outcome) {
    auto packages = Json::array();
    for (const auto& view : outcome.packages) {
        packages.push_back(packageJson(view));
    }
    return {{"target", outcome.target},   {"operation", outcome.operation},
            {"code", outcome.code},       {"exit", static_cast<int>(outcome.exitCode)},
            {"message", outcome.message}, {"packages", std::move(packages)}};
}

Json containerJson(const QXA::QXAEnvRecord& record) {
    return {{"ct", record.veid},
            {"eid", record.eid.toString()},
            {"node", record.parent.toString()},
            {"type", record.type},
            {"osTemplate", record.osTemplate},
            {"templates", record.templates},
            {"privateArea", record.privateArea}};
}

}  // namespace

std::string serialize(const Outcome& outcome) {
    auto json = outcomeJson(outcome);
    json["xml"] = outcome.xml;
    const auto bytes = Json::to_msgpack(json);
    return {bytes.begin(), bytes.end()};
}

bool deserialize(const std::string& text, Outcome& outcome) {
    const auto json = Json::from_msgpack(text, true, false);
    if (!json.is_object()) {
        return false;
    }
    outcome.target = json.at("target");
    outcome.operation = json.at("operation");
    outcome.code = json.at("code");
    outcome.exitCode = static_cast<ExitCode>(json.at("exit").get<int>());
    outcome.message = json.at("message");
    outcome.xml = json.at("xml");
    outcome.packages.clear();
    for (const auto& package : json.at("packages")) {
        outcome.packages.push_back(packageView(package));
    }
    return true;
}

std::string outcomesAsJson(const std::vector<Outcome>& outcomes, ExitCode exitCode) {
    auto results = Json::array();
    for (const auto& outcome : outcomes) {
        results.push_back(outcomeJson(outcome));
    }
    return text({{"exit", static_cast<int>(exitCode)}, {"results", std::move(results)}});
}

std::string failureAsJson(const Outcome& outcome) {
    return lineOf({{"target", outcome.target},
                   {"operation", outcome.operation},
                   {"code", outcome.code},
                   {"exit", static_cast<int>(outcome.exitCode)},
                   {"message", outcome.message}});
}

std::string containersAsJson(const std::vector<QXA::QXAEnvRecord>& containers) {
    auto list = Json::array();
    for (const auto& record : containers) {
        list.push_back(containerJson(record));
    }
    return text({{"containers", std::move(list)}});
}

std::string historyAsJson(const std::vector<QXA::QXAJournalEntry>& entries) {
    auto list = Json::array();
    for (const auto& entry : entries) {
        list.push_back({{"id", entry.id},
                        {"time", entry.time},
                        {"user", entry.user},
                        {"operation", entry.operation},
                        {"target", entry.target},
                        {"packages", entry.packages},
                        {"before", entry.before},
                        {"after", entry.after},
                        {"interrupted", entry.result == QXA::QXAJournal::kInterrupted},
                        {"running", entry.result == QXA::QXAJournal::kRunning},
                        {"code", entry.result},
                        {"message", entry.message}});
    }
    return text({{"requests", std::move(list)}});
}

std::string eventAsJson(const QXA::QXAEvent& event) {
    return lineOf({{"time", event.time}, {"kind", event.kind}, {"ct", event.veid}});
}

}  // namespace qxa
