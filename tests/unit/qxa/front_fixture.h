// What tests of the package-manager front share: requests, and a front on a node with a container
// of each technology.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "QXA/QXAPackageQXTemplate.h"
#include "QXL/QXLInstallationPackage.h"
#include "qxa/plugins/QXAPkg/QXAPkgMLocal.h"
#include "tests/fakes/fake_platform.h"
#include "tests/fakes/qxtt_fake.h"

namespace QXA::front {

class Access : public QXL::QXLAccessProviderPrototype {};

inline QXL::QXLPackageSP standard(const std::string& name, const std::string& version = "1") {
    auto record = std::make_shared<QXAPackageQXTemplateStd>();
    record->name = name;
    record->version = version;
    return record;
}

/// A package that the standard technology does not take.
inline QXL::QXLPackageSP foreign(const std::string& name, const std::string& os = "") {
    auto record = std::make_shared<QXL::QXLPackageRpm>();
    record->name = name;
    if (!os.empty()) {
        record->os.osName = os;
    }
    return record;
}

inline QXL::QXLInstallationPackageSP element(const QXL::QXLPackageSP& record,
                                             const std::string& path = "") {
    auto made = std::make_shared<QXL::QXLInstallationPackage>();
    made->package = std::const_pointer_cast<QXL::QXLPackage>(record);
    made->path = path;
    return made;
}

inline QXL::QXLPackageSP osTemplate(const std::string& name) {
    auto record = std::make_shared<QXAPackageQXTemplate>();
    record->name = name;
    record->isOsTemplate = true;
    return record;
}

inline constexpr const char* kCacheUpdate = "rawRequest.begin synchronize_local 0 qxapkgmonitor";

class Front : public testing::Test {
protected:
    Front()
        : m_eid(fakes::addContainer(m_platform, 101, "base")),
          m_krEid(fakes::addContainer(m_platform, 102, ".base")) {}

    [[nodiscard]] bool cacheUpdateAsked() const {
        return !m_platform.callsOf(kCacheUpdate).empty();
    }
    [[nodiscard]] std::vector<std::string> notifications() const {
        return m_platform.callsOf("sendCommandConfUpdate");
    }
    /// What the technologies had changed, in order: runs of the KR tool, and calls of the template
    /// manager.
    [[nodiscard]] std::vector<std::string> changes() const { return callsOfAny(kChanges); }
    /// The same, and what others were told of it.
    [[nodiscard]] std::vector<std::string> changesAndReports() const {
        auto starts = kChanges;
        starts.insert(starts.end(), {"sendCommandConfUpdate", "rawRequest.begin"});
        return callsOfAny(starts);
    }
    /// Scripts the next run of the KR tool.
    void run(int code, std::vector<std::string> lines = {}) {
        m_platform.execScripts.push_back({code, std::move(lines), "reason"});
    }

    static inline const std::vector<std::string> kChanges{"exec",    "tem.add",   "tem.rm",
                                                          "tem.set", "tem.cache", "tem.unset"};

    [[nodiscard]] std::vector<std::string> callsOfAny(
        const std::vector<std::string>& starts) const {
        std::vector<std::string> found;
        for (const auto& call : m_platform.calls) {
            if (std::any_of(starts.begin(), starts.end(),
                            [&](const auto& start) { return call.starts_with(start); })) {
                found.push_back(call);
            }
        }
        return found;
    }

    fakes::FakePlatform m_platform;
    fakes::FakeQxtt m_qxtt;
    QXL::QXLEID m_eid;
    QXL::QXLEID m_krEid;
    QXL::QXLEID m_node = QXL::QXLEID::EID_LOCAL;
    QXL::QXLEID m_unknown = QXL::QXLEID::fromString("90000000-0000-0000-0000-000000000000");
    QXAPkgMLocal m_front{new Access};
    QXL::QXLPackageList m_out;
    QXL::QXLPackageManagerOptions m_options;
    QXL::QXLPackageManagerListOptions m_listOptions{0};
};

}  // namespace QXA::front
