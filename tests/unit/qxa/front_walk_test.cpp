// How the package-manager front walks its technologies, with technologies that answer what a test
// scripts.
#include <deque>
#include <functional>
#include <map>
#include <stdexcept>

#include "tests/unit/qxa/front_fixture.h"

namespace QXA::front {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// What an operation was called with beside its packages; unused ones as they start.
struct Given {
    QXL::QXLEID eid;
    unsigned flags = 0;
    const QXL::QXLPackageList* out = nullptr;

    bool operator==(const Given&) const = default;
};

/// Writes calls down as "name operation", and answers from the front of its queue, then 0. A
/// failure sets the message "of name".
class ScriptedTechnology : public QXATemplateTypeImpl {
public:
    ScriptedTechnology(std::string name, std::vector<std::string>& calls)
        : m_name(std::move(name)), m_calls(calls) {}

    std::deque<int> results;
    bool throws = false;  ///< instead, every operation throws std::runtime_error
    bool serves = false;
    bool suits = true;
    Given given;  ///< in the last call
    QXL::QXLEID askedEid;
    int askedVeid = 0;  ///< of the configuration that isVeCompatible was asked about

    int clean(const QXL::QXLPackageList& pkgs) override { return called("clean", pkgs.size()); }
    int fetch(const QXL::QXLPackageList& pkgs) override { return called("fetch", pkgs.size()); }
    int info(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs,
             QXL::QXLPackageList* out) override {
        given = {eid, 0, out};
        return called("info", pkgs.size(), out);
    }
    int list(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs,
             const QXL::QXLPackageManagerListOptions& opts, QXL::QXLPackageList* out) override {
        given = {eid, opts.flags, out};
        return called("list", pkgs.size(), out);
    }
    int removeFromVE(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs,
                     const QXL::QXLPackageManagerOptions& opts, QXL::QXLPackageList* out) override {
        given = {eid, opts.flags, out};
        return called("removeFromVE", pkgs.size(), out);
    }
    int removeFromNode(const QXL::QXLPackageList& pkgs, const QXL::QXLPackageManagerOptions& opts,
                       QXL::QXLPackageList* out) override {
        given = {{}, opts.flags, out};
        return called("removeFromNode", pkgs.size(), out);
    }
    int updateInVE(const QXL::QXLEID& eid, const QXL::QXLInstallationPackageList& pkgs,
                   const QXL::QXLPackageManagerOptions& opts, QXL::QXLPackageList* out) override {
        given = {eid, opts.flags, out};
        return called("updateInVE", pkgs.size(), out);
    }
    int updateOnNode(const QXL::QXLInstallationPackageList& pkgs,
                     const QXL::QXLPackageManagerOptions& opts, QXL::QXLPackageList* out) override {
        given = {{}, opts.flags, out};
        return called("updateOnNode", pkgs.size(), out);
    }
    int installIntoVE(const QXL::QXLEID& eid, const QXL::QXLInstallationPackageList& pkgs,
                      const QXL::QXLPackageManagerOptions& opts,
                      QXL::QXLPackageList* out) override {
        given = {eid, opts.flags, out};
        return called("installIntoVE", pkgs.size(), out);
    }
    int installOnNode(const QXL::QXLInstallationPackageList& pkgs,
                      const QXL::QXLPackageManagerOptions& opts,
                      QXL::QXLPackageList* out) override {
        given = {{}, opts.flags, out};
        return called("installOnNode", pkgs.size(), out);
    }
    bool isVeCompatible(const QXL::QXLEID& eid, const QXAEnvConfig& config) override {
        askedEid = eid;
        config.getVeid(askedVeid);
        return serves;
    }
    bool doesPackageSuitForOperationsInsideVE(
        std::shared_ptr<const QXL::QXLPackage> /*pkg*/) const override {
        return suits;
    }

private:
    int called(const std::string& operation, std::size_t packages,
               QXL::QXLPackageList* out = nullptr) {
        m_calls.push_back(m_name + " " + operation + " " + std::to_string(packages));
        if (out != nullptr) {
            out->push_back(standard(m_name));
        }
        if (throws) {
            throw std::runtime_error(m_name);
        }
        if (results.empty()) {
            return 0;
        }
        const int result = results.front();
        results.pop_front();
        if (result != 0) {
            QXL::setErrorMessage("of %s", m_name.c_str());
        }
        return result;
    }

    std::string m_name;
    std::vector<std::string>& m_calls;
};

/// A front with two scripted technologies, "a" before "b".
class ScriptedFront : public QXAPkgMLocal {
public:
    explicit ScriptedFront(std::vector<std::string>& calls)
        : QXAPkgMLocal(new Access),
          a(std::make_shared<ScriptedTechnology>("a", calls)),
          b(std::make_shared<ScriptedTechnology>("b", calls)) {
        m_types = {a, b};
    }

    std::shared_ptr<ScriptedTechnology> a;
    std::shared_ptr<ScriptedTechnology> b;
};

class FrontWalk : public Front {
protected:
    std::vector<std::string> m_calls;
    ScriptedFront m_walk{m_calls};
    QXL::QXLPackageList m_pkgs{standard("x")};
    QXL::QXLInstallationPackageList m_files{element(nullptr, "/x")};

    /// Every operation on a target; those without one have the node.
    using Operation = std::function<int(const QXL::QXLEID& eid)>;
    const std::map<std::string, Operation> m_operations{
        {"install", [this](auto& eid) { return m_walk.install(eid, m_files, &m_out, m_options); }},
        {"remove", [this](auto& eid) { return m_walk.remove(eid, m_pkgs, &m_out, m_options); }},
        {"update", [this](auto& eid) { return m_walk.update(eid, m_files, &m_out, m_options); }},
        {"list", [this](auto& eid) { return m_walk.list(eid, m_pkgs, &m_out, m_listOptions); }},
        {"getInfo", [this](auto& eid) { return m_walk.getInfo(eid, m_pkgs, &m_out); }},
        {"clean", [this](auto& /*eid*/) { return m_walk.clean(m_pkgs); }},
        {"fetch", [this](auto& /*eid*/) { return m_walk.fetch(m_pkgs); }},
    };
};

TEST_F(FrontWalk, asksEveryTechnologyOnTheNodeInOrder) {
    EXPECT_EQ(0, m_walk.list(m_node, m_pkgs, &m_out, m_listOptions));
    EXPECT_EQ(0, m_walk.getInfo(m_node, m_pkgs, &m_out));
    EXPECT_EQ(0, m_walk.remove(m_node, m_pkgs, &m_out, m_options));
    EXPECT_EQ(0, m_walk.update(m_node, m_files, &m_out, m_options));
    EXPECT_EQ(0, m_walk.clean(m_pkgs));
    EXPECT_EQ(0, m_walk.fetch(m_pkgs));
    EXPECT_THAT(m_calls,
                ElementsAre("a list 1", "b list 1", "a info 1", "b info 1", "a removeFromNode 1",
                            "b removeFromNode 1", "a updateOnNode 1", "b updateOnNode 1",
                            "a clean 1", "b clean 1", "a fetch 1", "b fetch 1"));
}

TEST_F(FrontWalk, handsRequestsOnAsTheyAreGiven) {
    m_walk.a->serves = true;
    m_options.flags = 11;
    const auto& given = m_walk.a->given;
    m_walk.install(m_eid, m_files, &m_out, m_options);
    EXPECT_EQ((Given{m_eid, 11, &m_out}), given);
    m_walk.remove(m_eid, m_pkgs, nullptr, m_options);
    EXPECT_EQ((Given{m_eid, 11, nullptr}), given);
    m_walk.update(m_eid, m_files, &m_out, m_options);
    EXPECT_EQ((Given{m_eid, 11, &m_out}), given);
    m_walk.install(m_node, m_files, nullptr, m_options);
    EXPECT_EQ((Given{{}, 11, nullptr}), given);
    m_walk.remove(m_node, m_pkgs, &m_out, m_options);
    EXPECT_EQ((Given{{}, 11, &m_out}), given);
    m_walk.update(m_node, m_files, nullptr, m_options);
    EXPECT_EQ((Given{{}, 11, nullptr}), given);
}

TEST_F(FrontWalk, asksWhetherATechnologyServesTheContainerWithItsConfiguration) {
    EXPECT_EQ(0, m_walk.install(m_eid, m_files, &m_out, m_options));
    EXPECT_EQ(m_eid, m_walk.a->askedEid);
    EXPECT_EQ(101, m_walk.a->askedVeid);
    EXPECT_EQ(0, m_walk.list(m_krEid, m_pkgs, &m_out, m_listOptions));
    EXPECT_EQ(m_krEid, m_walk.b->askedEid);
    EXPECT_EQ(102, m_walk.b->askedVeid);
}

TEST_F(FrontWalk, onTheNodeAsksNobodyWhomItServes) {
    m_walk.list(m_node, m_pkgs, &m_out, m_listOptions);
    m_walk.remove(m_node, m_pkgs, &m_out, m_options);
    m_walk.update(m_node, m_files, &m_out, m_options);
    m_walk.install(m_node, m_files, &m_out, m_options);
    EXPECT_EQ(QXL::QXLEID(), m_walk.a->askedEid);
}

TEST_F(FrontWalk, ofARefusalInAContainerEndsBeforeTheNextTechnology) {
    m_walk.a->serves = m_walk.b->serves = true;
    m_walk.a->suits = false;
    EXPECT_EQ(3502, m_walk.remove(m_eid, m_pkgs, &m_out, m_options));
    EXPECT_EQ(3503, m_walk.update(m_eid, m_files, &m_out, m_options));
    EXPECT_THAT(m_calls, IsEmpty());
}

TEST_F(FrontWalk, inAContainerEndsAtTheFirstFailure) {
    m_walk.a->serves = m_walk.b->serves = true;
    m_walk.a->results = {5, 5, 5, 5};
    EXPECT_EQ(5, m_walk.remove(m_eid, m_pkgs, &m_out, m_options));
    EXPECT_EQ(5, m_walk.update(m_eid, m_files, &m_out, m_options));
    EXPECT_EQ(-1, m_walk.list(m_eid, m_pkgs, &m_out, m_listOptions));
    EXPECT_EQ(-1, m_walk.getInfo(m_eid, m_pkgs, &m_out));
    EXPECT_EQ(4U, m_calls.size());
}

TEST_F(FrontWalk, handsTheEidOfTheNodeOnUnchanged) {
    const QXL::QXLPackageManagerListOptions listed(48);
    for (const auto& eid : {m_node, QXL::QXLEID::EID_INVALID, m_platform.localEid}) {
        m_walk.list(eid, m_pkgs, &m_out, listed);
        EXPECT_EQ((Given{eid, 48, &m_out}), m_walk.b->given);
        m_walk.getInfo(eid, m_pkgs, nullptr);
        EXPECT_EQ((Given{eid, 0, nullptr}), m_walk.b->given);
    }
}

TEST_F(FrontWalk, endsAtTheFirstFailureWhoseCodeChangesKeepAndQuestionsDoNot) {
    m_walk.a->results = {5, 5, 5, 5, 5, 5};
    EXPECT_EQ(5, m_walk.remove(m_node, m_pkgs, &m_out, m_options));
    EXPECT_EQ(5, m_walk.update(m_node, m_files, &m_out, m_options));
    EXPECT_EQ(-1, m_walk.list(m_node, m_pkgs, &m_out, m_listOptions));
    EXPECT_EQ(-1, m_walk.getInfo(m_node, m_pkgs, &m_out));
    EXPECT_EQ(-1, m_walk.clean(m_pkgs));
    EXPECT_EQ(-1, m_walk.fetch(m_pkgs));
    EXPECT_EQ(6U, m_calls.size());
}

TEST_F(FrontWalk, takesNegativeCodesForFailuresToo) {
    m_walk.a->results = {-5, -5, -5, -5};
    EXPECT_EQ(-5, m_walk.remove(m_node, m_pkgs, &m_out, m_options));
    EXPECT_EQ(-5, m_walk.install(m_node, m_files, &m_out, m_options));
    EXPECT_EQ(-1, m_walk.clean(m_pkgs));
    EXPECT_EQ(-1, m_walk.fetch(m_pkgs));
    EXPECT_EQ(4U, m_calls.size());
}

TEST_F(FrontWalk, keepsTheRecordsOfTechnologiesBeforeTheOneThatFails) {
    m_walk.b->results = {5};
    EXPECT_EQ(-1, m_walk.list(m_node, m_pkgs, &m_out, m_listOptions));
    EXPECT_EQ(2U, m_out.size());
    EXPECT_EQ("a", m_out[0]->name);
}

TEST_F(FrontWalk, leavesTheMessageOfTheTechnologyThatFails) {
    m_walk.a->serves = true;
    for (const auto& eid : {m_node, m_eid}) {
        for (const auto& [name, operate] : m_operations) {
            m_walk.a->results = {5};
            m_platform.errorMessage.clear();
            EXPECT_NE(0, operate(eid)) << name;
            EXPECT_EQ("of a", m_platform.errorMessage) << name;
        }
    }
}

TEST_F(FrontWalk, onlyAddsToTheCallersList) {
    m_walk.a->serves = true;
    const auto before = standard("before");
    for (const int result : {0, 5}) {
        for (const auto& eid : {m_node, m_eid}) {
            for (const auto& [name, operate] : m_operations) {
                m_walk.a->results = {result};
                m_out = {before};
                operate(eid);
                ASSERT_FALSE(m_out.empty()) << name;
                EXPECT_EQ(before, m_out[0]) << name;
                EXPECT_EQ(name == "clean" || name == "fetch", m_out.size() == 1) << name;
            }
        }
    }
}

TEST_F(FrontWalk, letsExceptionsOfTechnologiesThroughAndReportsNoChange) {
    m_walk.a->serves = true;
    m_walk.a->throws = true;
    for (const auto& eid : {m_node, m_eid}) {
        for (const auto& [name, operate] : m_operations) {
            EXPECT_THROW(operate(eid), std::runtime_error) << name;
        }
    }
    EXPECT_THAT(changesAndReports(), IsEmpty());
}

TEST_F(FrontWalk, letsExceptionsOfTheAccessCheckerThroughAndAsksNobody) {
    m_platform.checkerThrows = true;
    for (const auto& eid : {m_node, m_eid}) {
        for (const auto& [name, operate] : m_operations) {
            EXPECT_THROW(operate(eid), std::runtime_error) << name;
        }
    }
    EXPECT_THAT(m_calls, IsEmpty());
}

TEST_F(FrontWalk, ofAnInstallOnTheNodeEndsAtAnyFailureButThatOfAForeignCollection) {
    m_walk.a->results = {3501, 3509, 3510};
    EXPECT_EQ(3501, m_walk.install(m_node, m_files, &m_out, m_options));
    EXPECT_EQ(3509, m_walk.install(m_node, m_files, &m_out, m_options));
    EXPECT_EQ(3510, m_walk.install(m_node, m_files, &m_out, m_options));
    EXPECT_THAT(m_calls,
                ElementsAre("a installOnNode 1", "a installOnNode 1", "a installOnNode 1"));
}

TEST_F(FrontWalk, ofAnInstallOnTheNodeEndsAtTheFirstThatKnowsTheCollection) {
    m_walk.a->results = {3511, 0};
    m_walk.b->results = {9};
    EXPECT_EQ(9, m_walk.install(m_node, m_files, &m_out, m_options));
    EXPECT_EQ(0, m_walk.install(m_node, m_files, &m_out, m_options));
    EXPECT_THAT(m_calls,
                ElementsAre("a installOnNode 1", "b installOnNode 1", "a installOnNode 1"));
}

TEST_F(FrontWalk, ofAnEmptyInstallOnTheNodeOffersItWithoutACacheUpdate) {
    m_walk.a->results = {3511};
    EXPECT_EQ(0, m_walk.install(m_node, {}, &m_out, m_options));
    EXPECT_THAT(m_calls, ElementsAre("a installOnNode 0", "b installOnNode 0"));
    EXPECT_FALSE(cacheUpdateAsked());
}

TEST_F(FrontWalk, inAContainerAsksThoseThatServeIt) {
    m_walk.b->serves = true;
    EXPECT_EQ(0, m_walk.list(m_eid, m_pkgs, &m_out, m_listOptions));
    EXPECT_EQ(0, m_walk.getInfo(m_eid, m_pkgs, &m_out));
    EXPECT_EQ(0, m_walk.remove(m_eid, m_pkgs, &m_out, m_options));
    EXPECT_EQ(0, m_walk.update(m_eid, m_files, &m_out, m_options));
    EXPECT_EQ(0, m_walk.install(m_eid, m_files, &m_out, m_options));
    EXPECT_THAT(m_calls, ElementsAre("b list 1", "b info 1", "b removeFromVE 1", "b updateInVE 1",
                                     "b installIntoVE 1"));
}

TEST_F(FrontWalk, ofChangesInAContainerReachesEveryTechnologyThatServesItButInstallationsOne) {
    m_walk.a->serves = m_walk.b->serves = true;
    EXPECT_EQ(0, m_walk.remove(m_eid, m_pkgs, &m_out, m_options));
    EXPECT_EQ(0, m_walk.update(m_eid, m_files, &m_out, m_options));
    EXPECT_EQ(0, m_walk.install(m_eid, m_files, &m_out, m_options));
    EXPECT_THAT(m_calls, ElementsAre("a removeFromVE 1", "b removeFromVE 1", "a updateInVE 1",
                                     "b updateInVE 1", "a installIntoVE 1"));
}

TEST_F(FrontWalk, ofAnInstallEndsAtTheFirstThatServesTheContainerEvenWhenItRefuses) {
    m_walk.a->serves = m_walk.b->serves = true;
    m_walk.a->suits = false;
    EXPECT_EQ(3511, m_walk.install(m_eid, m_files, &m_out, m_options));
    EXPECT_THAT(m_calls, IsEmpty());
}

TEST_F(FrontWalk, ofAnEmptyInstallIntoAContainerAsksNobodyWhomItServes) {
    m_walk.a->serves = m_walk.b->serves = true;
    EXPECT_EQ(0, m_walk.install(m_eid, {}, &m_out, m_options));
    EXPECT_EQ(QXL::QXLEID(), m_walk.a->askedEid);
    EXPECT_THAT(m_calls, IsEmpty());
    EXPECT_THAT(notifications(), IsEmpty());
}

TEST_F(FrontWalk, inAContainerThatNoTechnologyServesSucceedsAndNotifiesOfChanges) {
    EXPECT_EQ(0, m_walk.install(m_eid, m_files, &m_out, m_options));
    EXPECT_EQ(0, m_walk.remove(m_eid, m_pkgs, &m_out, m_options));
    EXPECT_EQ(0, m_walk.update(m_eid, m_files, &m_out, m_options));
    EXPECT_EQ(0, m_walk.getInfo(m_eid, m_pkgs, &m_out));
    EXPECT_EQ(0, m_walk.list(m_eid, m_pkgs, &m_out, m_listOptions));
    EXPECT_THAT(m_calls, IsEmpty());
    EXPECT_THAT(m_out, IsEmpty());
    EXPECT_THAT(notifications(),
                ElementsAre("sendCommandConfUpdate 101", "sendCommandConfUpdate 101",
                            "sendCommandConfUpdate 101"));
}

}  // namespace
}  // namespace QXA::front
