// What tests of the KR technology share: records, and a node whose template tools library
// gets back what it hands out.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "QXA/QXAPackageQXTemplate.h"
#include "QXL/QXLInstallationPackage.h"
#include "QXL/QXLPackage.h"
#include "qxa/plugins/QXAPkg/QXAKRTemplateType.h"
#include "tests/fakes/fake_platform.h"
#include "tests/fakes/qxtt_fake.h"
#include "tests/unit/qxa/requests.h"

namespace QXA {

template <typename Record>
std::shared_ptr<Record> recordOf(const std::string& name, const std::string& os = "") {
    auto record = std::make_shared<Record>();
    record->name = name;
    if (!os.empty()) {
        record->os.osName = os;
    }
    return record;
}

inline QXL::QXLPackageSP osTemplate(const std::string& name) {
    auto record = recordOf<QXAPackageQXTemplate>(name);
    record->isOsTemplate = true;
    return record;
}

inline QXL::QXLPackageSP appTemplate(const std::string& name, const std::string& os = "") {
    return recordOf<QXAPackageQXTemplate>(name, os);
}

inline QXL::QXLPackageSP rpm(const std::string& name, const std::string& os = "") {
    return recordOf<QXL::QXLPackageRpm>(name, os);
}

inline QXL::QXLPackageSP deb(const std::string& name, const std::string& os = "") {
    return recordOf<QXL::QXLPackageDeb>(name, os);
}

/// The record with a text in everything by which no package and no template is told from another.
inline QXL::QXLPackageSP detailed(const QXL::QXLPackageSP& record) {
    auto& changed = *std::const_pointer_cast<QXL::QXLPackage>(record);
    changed.version = "9";
    changed.architecture = "noarch";
    changed.summary = "a summary";
    changed.description = "a description";
    changed.os.osVersion = "8";
    changed.os.extra = "more";
    return record;
}

inline QXL::QXLInstallationPackageSP file(const std::string& path) {
    return installation(nullptr, path);
}

/// "name (OS os) version", without what is empty.
inline std::vector<std::string> textsOf(const QXL::QXLPackageList& records) {
    std::vector<std::string> texts;
    for (const auto& record : records) {
        auto text = record == nullptr ? "null" : record->name;
        if (record != nullptr && !record->os.osName.value_or("").empty()) {
            text += " (OS " + *record->os.osName + ")";
        }
        if (record != nullptr && !record->version.empty()) {
            text += " " + record->version;
        }
        texts.push_back(text);
    }
    return texts;
}

/// The template record behind a record; the test fails when there is none.
inline const QXAPackageQXTemplate& templateOf(const QXL::QXLPackageSP& record) {
    static const QXAPackageQXTemplate kNone;
    const auto* found = dynamic_cast<const QXAPackageQXTemplate*>(record.get());
    EXPECT_NE(nullptr, found);
    return found == nullptr ? kNone : *found;
}

class KRNode : public testing::Test {
protected:
    ~KRNode() override {
        EXPECT_EQ(m_qxtt.handedOut, m_qxtt.released) << "results were kept";
        EXPECT_THAT(m_qxtt.faults, testing::IsEmpty());
    }

    /// The command lines that were run, each as its words in brackets.
    [[nodiscard]] std::vector<std::string> commands() const { return m_platform.callsOf("exec "); }

    fakes::FakePlatform m_platform;
    fakes::FakeQxtt m_qxtt;
    QXL::QXLPackageList m_out;
};

/// The technology on a node with one container of its own.
class KRTechnology : public KRNode {
protected:
    KRTechnology() : m_eid(fakes::addContainer(m_platform, 101, ".base")) {}

    /// Scripts the next run of the tool.
    void run(int code, std::vector<std::string> lines = {}, const std::string& reason = "reason") {
        m_platform.execScripts.push_back({code, std::move(lines), reason});
    }

    QXAKRTemplateImpl m_technology;
    QXL::QXLEID m_eid;
    QXL::QXLEID m_node = QXL::QXLEID::EID_LOCAL;
    QXL::QXLEID m_unknown = QXL::QXLEID::fromString("90000000-0000-0000-0000-000000000000");
};

}  // namespace QXA
