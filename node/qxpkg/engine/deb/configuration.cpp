// apt reads its configuration from one file of ours: options on its command line come after what
// the host configures and would not shield from it. See configuration.h.
#include "node/qxpkg/engine/deb/configuration.h"

#include "base/content.h"
#include "node/qxpkg/failure.h"

namespace qxpkg {

namespace {

constexpr std::size_t kMaxSources = 1U << 20;

/// Without these lines apt asks dpkg for the machine's architectures.
std::string architectureLines(const Place& place) {
    const std::string& name = place.architecture;
    return name.empty()
               ? ""
               : "APT::Architecture \"" + name + "\";\nAPT::Architectures { \"" + name + "\"; };\n";
}

bool hasHostSources(const Place& place) {
    for (const qxnode::KrRepository& repository : place.repositories) {
        if (!repository.sources.empty()) {
            return true;
        }
    }
    return false;
}

}  // namespace

std::vector<std::string> dpkgRootOptions(const std::string& adminDir) {
    std::vector<std::string> options = {"--root=" + std::string(inside::kRoot),
                                        "--log=" + std::string(inside::kWork) + "/log/dpkg.log"};
    if (adminDir != kDpkgDatabase) {
        options.push_back("--admindir=" + std::string(inside::kRoot) + adminDir);
    }
    return options;
}

std::string aptConfiguration(const Place& place, const std::string& adminDir) {
    const std::string conf = inside::kConfiguration;
    const std::string work = inside::kWork;
    std::string text = "Dir \"" + work + "/\";\n";
    text += "Dir::Etc \"" + conf + "/\";\n";
    text += "Dir::Etc::sourcelist \"" + conf + "/sources.list\";\n";
    text += "Dir::Etc::sourceparts \"" + conf + "/sources.list.d/\";\n";
    for (const char* unused : {"parts", "preferencesparts", "netrcparts"}) {
        text += "Dir::Etc::" + std::string(unused) + " \"" + conf + "/empty/\";\n";
    }
    for (const char* unused : {"main", "preferences", "netrc", "trusted"}) {
        text += "Dir::Etc::" + std::string(unused) + " \"/dev/null\";\n";
    }
    text += "Dir::Etc::trustedparts \"" +
            (hasHostSources(place) ? std::string(inside::kTrustedKeys) : conf + "/empty") +
            "/\";\n";
    text += "Dir::State \"" + work + "/\";\nDir::State::Lists \"" + work + "/lists/\";\n";
    text += "Dir::State::status \"" + std::string(inside::kRoot) + adminDir + "/status\";\n";
    text += "Dir::State::extended_states \"" + work + "/extended_states\";\n";
    text += "Dir::Cache \"" + work + "/\";\nDir::Cache::archives \"" + work + "/archives/\";\n";
    text += "Dir::Log \"" + work + "/log/\";\nDir::Bin::dpkg \"/usr/bin/dpkg\";\n";
    text += "DPkg::Options {";
    for (const std::string& option : dpkgRootOptions(adminDir)) {
        text += " \"" + option + "\";";
    }
    text += " \"--force-confold\"; \"--force-confdef\"; };\n";
    text +=
        "DPkg::Use-Pty \"false\";\n"
        "DPkg::Lock::Timeout \"60\";\n"
        "APT::Sandbox::User \"root\";\n"
        "APT::Get::Assume-Yes \"true\";\n"
        "APT::Install-Recommends \"false\";\n"
        "APT::Update::Error-Mode \"any\";\n"
        "APT::Keep-Downloaded-Packages \"true\";\n"
        "Acquire::Languages \"none\";\n"
        "quiet::NoProgress \"true\";\n";
    return text + architectureLines(place);
}

std::string aptSources(const Place& place) {
    std::string text;
    for (const qxnode::KrRepository& repository : place.repositories) {
        if (!repository.sources.empty()) {
            continue;
        }
        std::string options;
        if (repository.trusted) {
            options += " trusted=yes";
        }
        if (!repository.key.empty()) {
            options += " signed-by=" + std::string(inside::kKeys) + "/" + repository.key;
        }
        text += "deb ";
        text += options.empty() ? "" : "[" + options.substr(1) + "] ";
        text += repository.url + " " + (repository.suite.empty() ? "./" : repository.suite);
        for (const std::string& component : repository.components) {
            text += " " + component;
        }
        text += "\n";
    }
    return text;
}

std::vector<ConfigurationFile> debConfiguration(const Place& place, const std::string& adminDir) {
    std::vector<ConfigurationFile> files = {
        {"apt.conf", aptConfiguration(place, adminDir)},
        {"sources.list", aptSources(place)},
    };
    int count = 0;
    for (const qxnode::KrRepository& repository : place.repositories) {
        if (repository.sources.empty()) {
            continue;
        }
        std::string error;
        const auto content = base::readFile(repository.sources, kMaxSources, error);
        if (!content) {
            throw Failure(error);
        }
        // apt recognises the syntax of a file by the ending of its name.
        const char* ending = repository.sources.ends_with(".sources") ? ".sources" : ".list";
        files.push_back({"sources.list.d/host" + std::to_string(count++) + ending, *content});
    }
    return files;
}

}  // namespace qxpkg
