// The template manager's entry points: locks, failures to codes, and nothing else.
#include "QXA/QXATEMLocal.h"

#include <utility>

#include "QXL/QXLConfiguration.h"
#include "layout/paths.h"
#include "node/agent/tem/agent_reporter.h"
#include "node/agent/tem/container_templates.h"
#include "node/agent/tem/guarded.h"
#include "node/agent/tem/template_area.h"
#include "node/agent/tem/template_cache.h"
#include "node/agent/tem/template_query.h"
#include "node/agent/tem/template_store.h"

namespace QXA {

QXATEMLocal::QXATEMLocal(QXL::QXLAccess access) : m_access(std::move(access)) {}

QXATEMLocal::~QXATEMLocal() = default;

int QXATEMLocal::ls(std::vector<QXAPackageInfo>& infos, const QXL::QXLEID& eid, pkgType type) {
    return tem::guarded([&] {
        const bool onNode =
            eid == QXL::QXLEID::EID_LOCAL || eid == QXL::QXLConfiguration::getLocalEID();
        std::vector<QXAPackageInfo> found;
        tem::readStable([&](const tem::TemplateArea& area) {
            found = onNode ? tem::listNode(area, type)
                           : tem::listContainer(area, tem::Container::find(eid), type);
        });
        infos.insert(infos.end(), std::make_move_iterator(found.begin()),
                     std::make_move_iterator(found.end()));
    });
}

int QXATEMLocal::get(const QXATemplate& key, QXAPackageInfo& info) {
    return tem::guarded([&] {
        tem::readStable([&](const tem::TemplateArea& area) { info = tem::describe(area, key); });
    });
}

int QXATEMLocal::getTemplateConfig(const QXATemplate& key, QXATemplateConfigInfo& config) {
    return tem::guarded([&] {
        const tem::TemplateArea area;
        config = area.manifest(key.version.empty() ? area.resolve(key) : key)->config;
    });
}

int QXATEMLocal::add(const QXL::QXLEID& eid, const std::vector<QXATemplate>& keys, bool force,
                     bool /*removeOnly*/) {
    return tem::guarded([&] { tem::addToContainer(eid, keys, force, tem::agentReporter()); });
}

int QXATEMLocal::rm(const QXL::QXLEID& eid, const std::vector<QXATemplate>& keys, bool force,
                    bool /*removeOnly*/) {
    return tem::guarded([&] { tem::removeFromContainer(eid, keys, force, tem::agentReporter()); });
}

int QXATEMLocal::set(const std::vector<std::string>& paths, bool force,
                     std::vector<QXAPackageInfo>& infos) {
    return tem::guarded([&] {
        if (paths.empty()) {
            return;
        }
        const qxnode::FileLock lock =
            tem::lockForWriting(qxnode::kTemplateLock, tem::agentReporter());
        std::vector<QXAPackageInfo> installed = tem::installPackages(paths, force);
        infos.insert(infos.end(), std::make_move_iterator(installed.begin()),
                     std::make_move_iterator(installed.end()));
    });
}

int QXATEMLocal::cache(const std::vector<QXATemplate>& keys) {
    return tem::guarded([&] {
        const qxnode::FileLock lock =
            tem::lockForWriting(qxnode::kTemplateLock, tem::agentReporter());
        tem::renewCaches(keys);
    });
}

int QXATEMLocal::unset(const std::vector<QXATemplate>& keys) {
    return tem::guarded([&] {
        if (keys.empty()) {
            return;
        }
        const qxnode::FileLock lock =
            tem::lockForWriting(qxnode::kTemplateLock, tem::agentReporter());
        tem::removeTemplates(keys);
    });
}

}  // namespace QXA
