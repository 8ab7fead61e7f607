// The fake template manager.
#include "tests/fakes/fake_platform.h"

namespace {

using fakes::FakePlatform;

int nextResult(FakePlatform& platform, const std::string& call) {
    auto& queue = platform.temResults[call];
    if (queue.empty()) {
        return 0;
    }
    const int result = queue.front();
    queue.pop_front();
    return result;
}

std::string textOf(const std::vector<QXA::QXATemplate>& keys) {
    std::string text;
    for (const auto& key : keys) {
        text += " " + key.name + "/" + key.version;
    }
    return text;
}

void append(std::vector<QXA::QXAPackageInfo>& infos, const std::vector<QXA::QXAPackageInfo>& more) {
    infos.insert(infos.end(), more.begin(), more.end());
}

std::string flag(const char* name, bool value) {
    return std::string(" ") + name + (value ? "=1" : "=0");
}

}  // namespace

namespace QXA {

QXATEMLocal::QXATEMLocal(QXL::QXLAccess access) : m_access(std::move(access)) {
    FakePlatform::current().record(m_access == nullptr ? "tem access=null" : "tem access=given");
}

QXATEMLocal::~QXATEMLocal() = default;

int QXATEMLocal::ls(std::vector<QXAPackageInfo>& infos, const QXL::QXLEID& eid, pkgType type) {
    auto& platform = FakePlatform::current();
    platform.record("tem.ls eid=" + eid.toString() + " type=" + std::to_string(type));
    const int result = nextResult(platform, "ls");
    if (result == 0) {
        const auto found = platform.lsInfosOf.find(eid);
        append(infos, found == platform.lsInfosOf.end() ? platform.lsInfos : found->second);
    }
    return result;
}

int QXATEMLocal::get(const QXATemplate& key, QXAPackageInfo& info) {
    auto& platform = FakePlatform::current();
    platform.record("tem.get " + key.toString());
    const int result = nextResult(platform, "get");
    if (result != 0) {
        return result;
    }
    const auto found = platform.getInfos.find(key.toString());
    if (found == platform.getInfos.end()) {
        return kTemUnknownTemplate;
    }
    info = found->second;
    return 0;
}

int QXATEMLocal::getTemplateConfig(const QXATemplate& key, QXATemplateConfigInfo& config) {
    auto& platform = FakePlatform::current();
    platform.record("tem.getTemplateConfig " + key.toString());
    const auto result = platform.configResults.find(key.toString());
    if (result != platform.configResults.end()) {
        return result->second;
    }
    const auto found = platform.configs.find(key.toString());
    if (found == platform.configs.end()) {
        return kTemUnknownVersion;
    }
    config = found->second;
    return 0;
}

int QXATEMLocal::add(const QXL::QXLEID& eid, const std::vector<QXATemplate>& keys, bool force,
                     bool removeOnly) {
    auto& platform = FakePlatform::current();
    platform.record("tem.add eid=" + eid.toString() + textOf(keys) + flag("force", force) +
                    flag("second", removeOnly));
    return nextResult(platform, "add");
}

int QXATEMLocal::rm(const QXL::QXLEID& eid, const std::vector<QXATemplate>& keys, bool force,
                    bool removeOnly) {
    auto& platform = FakePlatform::current();
    platform.record("tem.rm eid=" + eid.toString() + textOf(keys) + flag("force", force) +
                    flag("second", removeOnly));
    return nextResult(platform, "rm");
}

int QXATEMLocal::set(const std::vector<std::string>& paths, bool force,
                     std::vector<QXAPackageInfo>& infos) {
    auto& platform = FakePlatform::current();
    std::string call = "tem.set";
    for (const auto& path : paths) {
        call += " " + path;
    }
    platform.record(call + flag("force", force));
    const int result = nextResult(platform, "set");
    if (result == 0) {
        append(infos, platform.setInfos);
    }
    return result;
}

int QXATEMLocal::cache(const std::vector<QXATemplate>& keys) {
    auto& platform = FakePlatform::current();
    platform.record("tem.cache" + textOf(keys));
    return nextResult(platform, "cache");
}

int QXATEMLocal::unset(const std::vector<QXATemplate>& keys) {
    auto& platform = FakePlatform::current();
    platform.record("tem.unset" + textOf(keys));
    return nextResult(platform, "unset");
}

}  // namespace QXA
