// What tests of the standard technology share: records, and a template manager that knows the
// templates it is told.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "QXA/QXAPackageQXTemplate.h"
#include "qxa/plugins/QXAPkg/QXAStandardTemplateType.h"
#include "tests/fakes/fake_platform.h"
#include "tests/unit/qxa/requests.h"

namespace QXA {

inline QXL::QXLPackageSP kr(const std::string& name) {
    auto record = std::make_shared<QXAPackageQXTemplate>();
    record->name = name;
    return record;
}

class StandardTechnology : public testing::Test {
protected:
    /// Makes the template manager know a template with one version.
    void know(const std::string& name, const std::string& version, bool os,
              const std::vector<QXATemplate>& bases = {}) {
        QXAPackageVersion listed;
        listed.version = version;
        listed.isOsTemplate = os;
        listed.baseOsTemplates = bases;
        auto& infos = m_platform.lsInfos;
        if (infos.empty() || infos.back().name != name) {
            infos.emplace_back();
            infos.back().name = name;
        }
        infos.back().versions.push_back(listed);
        QXAPackageInfo one;
        one.name = name;
        one.versions = {listed};
        m_platform.getInfos[name + "/" + version] = one;
        QXATemplateConfigInfo config;
        static_cast<QXAPackageVersion&>(config) = listed;
        config.name = name;
        config.summary = "summary of " + name;
        config.description = "description of " + name;
        config.platform = "Linux";
        config.technologies = {"x86"};
        config.packages["p"].name = name + "-package";
        m_platform.configs[name + "/" + version] = config;
    }

    std::vector<std::string> names() const {
        std::vector<std::string> found;
        for (const auto& record : m_out) {
            found.push_back(record->version.empty() ? record->name
                                                    : record->name + "/" + record->version);
        }
        return found;
    }

    fakes::FakePlatform m_platform;
    QXAStandardTemplateImpl m_technology;
    QXL::QXLPackageList m_out;
};

}  // namespace QXA
