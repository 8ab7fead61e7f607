// See operations.h.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "base/subprocess.h"
#include "layout/container_config.h"
#include "layout/paths.h"
#include "node/kr/manifest.h"
#include "node/qxpkg/failure.h"
#include "node/qxpkg/node/operations.h"

namespace qxpkg {

namespace {

constexpr const char* kAreaChecker = "qxfsutil";

bool isFolder(const std::string& path) {
    struct stat st {};
    return lstat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

template <typename Read>
void checkManifest(const Read& read, std::vector<std::string>& findings) {
    try {
        read();
    } catch (const Failure& error) {
        findings.emplace_back(error.what());
    }
}

std::vector<std::string> findingsOf(int veid) {
    std::string error;
    const auto config = qxnode::ContainerConfig::read(qxnode::containerConfigPath(veid), error);
    if (!config) {
        return {error};
    }
    const std::string area = config->privateArea(veid);
    for (const std::string& folder : {area, area + "/root"}) {
        if (!isFolder(folder)) {
            return {"'" + folder + "' is not a folder"};
        }
    }
    std::vector<std::string> findings;
    const std::string os = config->get(qxnode::parameter::kOsTemplate).value_or("");
    if (!os.starts_with('.')) {
        return findings;
    }
    checkManifest([&] { qxnode::readKrOsManifest(os); }, findings);
    for (const std::string& name : config->templates()) {
        checkManifest([&] { qxnode::readKrApplicationManifest(os, name); }, findings);
    }
    return findings;
}

}  // namespace

void verifyContainer(int veid, const Output& output) {
    const std::string container = "container " + std::to_string(veid);
    const std::vector<std::string> findings = findingsOf(veid);
    // The first finding is the reason of the failure; a single one is printed only there.
    for (std::size_t i = 0; findings.size() > 1 && i < findings.size(); ++i) {
        output.notice(container + ": " + findings[i]);
    }
    if (!findings.empty()) {
        throw Failure(container + " is not as it should be: " + findings.front());
    }
    base::ProcessOptions run;
    run.onLine = run.onErrorLine = [&](const std::string& line) { output.notice(line); };
    const base::ProcessResult result =
        base::runProcess({kAreaChecker, "check", "--ct", std::to_string(veid)}, run);
    if (!result.succeeded()) {
        throw Failure(container + ": the area is not as it should be: " + result.reason());
    }
    output.step(container + " is as it should be");
}

}  // namespace qxpkg
