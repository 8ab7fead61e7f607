// Journals requests, with the templates of their target before and after.
#include "tools/qxa/request_journal.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>

#include "QXA/QXAEnvMLocal.h"
#include "QXA/QXATEMLocal.h"

namespace qxa {

namespace {

std::string userName() {
    const auto* entry = getpwuid(getuid());
    return entry == nullptr ? "uid " + std::to_string(getuid()) : entry->pw_name;
}

std::vector<std::string> nodeTemplates() {
    std::vector<QXA::QXAPackageInfo> infos;
    QXA::QXATEMLocal manager(nullptr);
    manager.ls(infos, QXL::QXLEID::EID_LOCAL, QXA::QXATEMLocal::kAllTemplates);
    std::vector<std::string> names;
    for (const auto& info : infos) {
        for (const auto& version : info.versions) {
            names.push_back(QXA::QXATemplate(info.name, version.version).toString());
        }
    }
    return names;
}

std::vector<std::string> containerTemplates(int veid) {
    std::vector<QXA::QXAEnvRecord> containers;
    QXA::QXAEnvMLocal(nullptr).list(containers);
    const auto found =
        std::find_if(containers.begin(), containers.end(),
                     [&](const QXA::QXAEnvRecord& record) { return record.veid == veid; });
    if (found == containers.end()) {
        return {};
    }
    auto names = found->templates;
    if (!found->osTemplate.empty()) {
        names.insert(names.begin(), found->osTemplate);
    }
    return names;
}

std::vector<std::string> templatesOf(const Target& target) {
    return target.node ? nodeTemplates() : containerTemplates(target.record.veid);
}

/// A node may have thousands of templates, so an entry keeps only those that were added or removed.
void keepDifference(std::vector<std::string>& before, std::vector<std::string>& after) {
    std::sort(before.begin(), before.end());
    std::sort(after.begin(), after.end());
    std::vector<std::string> gone;
    std::vector<std::string> come;
    std::set_difference(before.begin(), before.end(), after.begin(), after.end(),
                        std::back_inserter(gone));
    std::set_difference(after.begin(), after.end(), before.begin(), before.end(),
                        std::back_inserter(come));
    before = std::move(gone);
    after = std::move(come);
}

}  // namespace

RequestJournal::RequestJournal(const Request& request, const Target& target)
    : m_target(target), m_active(changes(request.operation)) {
    if (!m_active) {
        return;
    }
    m_entry.user = userName();
    m_entry.operation = operationName(request.operation);
    m_entry.target = target.label;
    m_entry.packages = request.options.names;
    m_entry.before = templatesOf(target);
    m_entry.id = QXA::QXAJournal::begin(m_entry);
}

void RequestJournal::end(const Outcome& outcome) {
    if (!m_active || m_entry.id < 0) {
        return;
    }
    m_entry.after = templatesOf(m_target);
    if (!m_target.node) {
        // A list of templates does not show a container's packages; the request's records say
        // which packages changed.
        for (const auto& package : outcome.packages) {
            if (package.kind == "package") {
                m_entry.after.push_back(package.name + " " + package.version);
            }
        }
    } else {
        keepDifference(m_entry.before, m_entry.after);
    }
    m_entry.result = outcome.code;
    m_entry.message = outcome.message;
    QXA::QXAJournal::end(m_entry.id, m_entry);
}

}  // namespace qxa
