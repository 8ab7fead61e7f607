// The package-manager front: resolution, rights, dispatch, refusals.
#include "tests/unit/qxa/front_fixture.h"

namespace QXA::front {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

// --- resolution and rights

class UnresolvedTarget : public Front {
protected:
    ~UnresolvedTarget() override {
        EXPECT_THAT(m_platform.callsOf("accessCheck"), IsEmpty());
        EXPECT_THAT(changesAndReports(), IsEmpty());
    }

    /// The code and the message of each operation.
    std::vector<std::string> answers(const QXL::QXLEID& eid) {
        std::vector<std::string> found;
        const auto note = [&](const char* operation, int code) {
            found.push_back(operation + (" " + std::to_string(code)) + " " +
                            m_platform.errorMessage);
            m_platform.errorMessage.clear();
        };
        note("install", m_front.install(eid, {element(standard("a"))}, &m_out, m_options));
        note("remove", m_front.remove(eid, {standard("a")}, &m_out, m_options));
        note("update", m_front.update(eid, {element(standard("a"))}, &m_out, m_options));
        note("list", m_front.list(eid, {}, &m_out, m_listOptions));
        note("getInfo", m_front.getInfo(eid, {standard("a")}, &m_out));
        return found;
    }

    static auto allFailWith(const std::string& message) {
        return ElementsAre("install 3501 " + message, "remove -1 " + message,
                           "update -1 " + message, "list -1 " + message, "getInfo -1 " + message);
    }
};

TEST_F(UnresolvedTarget, is3501ForInstallAndMinusOneForTheOthers) {
    EXPECT_THAT(answers(m_unknown), allFailWith("Unknown eid"));
}

TEST_F(UnresolvedTarget, isAContainerOfAnotherNode) {
    m_platform.environments[m_eid].parent = m_unknown;
    EXPECT_THAT(answers(m_eid), allFailWith("not a local environment"));
}

TEST_F(UnresolvedTarget, isAContainerOfAnotherTechnology) {
    m_platform.environments[m_eid].type = "other";
    EXPECT_THAT(answers(m_eid), allFailWith("non-QX environments are not supported"));
}

TEST_F(UnresolvedTarget, isEveryContainerWithoutAnEnvironmentCache) {
    m_platform.hasCache = false;
    EXPECT_THAT(answers(m_eid), allFailWith("the environment cache is not accessible"));
}

TEST_F(Front, changesOnTheNodeNeedRight131) {
    m_platform.refusedRights = {131};
    EXPECT_EQ(414, m_front.install(m_node, {element(nullptr, "/a")}, &m_out, m_options));
    EXPECT_EQ(414, m_front.remove(m_node, {standard("a")}, &m_out, m_options));
    EXPECT_EQ(414, m_front.update(m_node, {}, &m_out, m_options));
    EXPECT_EQ(414, m_front.clean({standard("a")}));
    EXPECT_EQ(414, m_front.fetch({standard("a")}));
    EXPECT_EQ("", m_platform.errorMessage);
    EXPECT_THAT(m_platform.calls,
                ElementsAre("accessCheck 131", "accessCheck 131", "accessCheck 131",
                            "accessCheck 131", "accessCheck 131"));
}

TEST_F(Front, listsOnTheNodeNeedRight130) {
    m_platform.refusedRights = {130};
    EXPECT_EQ(414, m_front.list(m_node, {}, &m_out, m_listOptions));
    EXPECT_EQ(414, m_front.getInfo(m_node, {}, &m_out));
    EXPECT_THAT(m_platform.calls, ElementsAre("accessCheck 130", "accessCheck 130"));
}

TEST_F(Front, changesInAContainerNeedRight57OnIt) {
    m_platform.refusedRights = {57};
    EXPECT_EQ(414, m_front.install(m_eid, {element(standard("a"))}, &m_out, m_options));
    EXPECT_EQ(414, m_front.remove(m_eid, {standard("a")}, &m_out, m_options));
    EXPECT_EQ(414, m_front.update(m_eid, {}, &m_out, m_options));
    const auto check = "accessCheck " + m_eid.toString() + " 57";
    EXPECT_THAT(m_platform.callsOf("accessCheck"), ElementsAre(check, check, check));
    EXPECT_THAT(changes(), IsEmpty());
    EXPECT_THAT(notifications(), IsEmpty());
}

TEST_F(Front, anEmptyInstallIntoAContainerNeedsTheRightToo) {
    m_platform.refusedRights = {57};
    EXPECT_EQ(414, m_front.install(m_eid, {}, &m_out, m_options));
}

TEST_F(Front, anyNonZeroAnswerOfTheCheckerRefuses) {
    m_platform.refusedRights = {56, 57, 130, 131};
    m_platform.refusal = -1;
    EXPECT_EQ(414, m_front.list(m_node, {}, &m_out, m_listOptions));
    EXPECT_EQ(414, m_front.update(m_eid, {}, &m_out, m_options));
    EXPECT_EQ(414, m_front.clean({}));
}

TEST_F(Front, listsInAContainerNeedRight56OnIt) {
    m_platform.refusedRights = {56};
    EXPECT_EQ(414, m_front.list(m_eid, {}, &m_out, m_listOptions));
    EXPECT_EQ(414, m_front.getInfo(m_eid, {}, &m_out));
    const auto check = "accessCheck " + m_eid.toString() + " 56";
    EXPECT_THAT(m_platform.callsOf("accessCheck"), ElementsAre(check, check));
}

TEST_F(Front, everyEidOfTheNodeResolvesToTheNode) {
    for (const auto& eid :
         {QXL::QXLEID::EID_INVALID, QXL::QXLEID::EID_LOCAL, m_platform.localEid}) {
        EXPECT_EQ(0, m_front.list(eid, {}, &m_out, m_listOptions));
    }
    EXPECT_THAT(m_platform.callsOf("accessCheck"),
                ElementsAre("accessCheck 130", "accessCheck 130", "accessCheck 130"));
}

// --- install

TEST_F(Front, installIntoAContainerPassesToItsTechnologyAndNotifies) {
    EXPECT_EQ(0, m_front.install(m_eid, {element(standard("a"))}, &m_out, m_options));
    EXPECT_THAT(changes(),
                ElementsAre("tem.add eid=" + m_eid.toString() + " a/1 force=0 second=0"));
    EXPECT_THAT(notifications(), ElementsAre("sendCommandConfUpdate 101"));
    EXPECT_THAT(m_platform.callsOf("notifications"), ElementsAre("notifications eid="));
    EXPECT_FALSE(cacheUpdateAsked());
}

TEST_F(Front, aFailedInstallIntoAContainerDoesNotNotify) {
    m_platform.temResults["add"] = {-7};
    EXPECT_EQ(3510, m_front.install(m_eid, {element(standard("a"))}, &m_out, m_options));
    EXPECT_THAT(notifications(), IsEmpty());
}

TEST_F(Front, installingAnEmptyListIntoAContainerCallsNothing) {
    EXPECT_EQ(0, m_front.install(m_eid, {}, &m_out, m_options));
    EXPECT_THAT(changes(), IsEmpty());
    EXPECT_THAT(notifications(), IsEmpty());
}

TEST_F(Front, installRefusesByNameWhatDoesNotSuitTheContainer) {
    EXPECT_EQ(3511, m_front.install(m_eid,
                                    {element(foreign("a")), element(standard("good")),
                                     element(foreign("b", "x")), element(nullptr, "/c.tar")},
                                    &m_out, m_options));
    EXPECT_EQ(
        "packages a, b (OS x), /c.tar cannot be installed into Container because they seem to be "
        "incompatible with the later OS template.",
        m_platform.errorMessage);
    EXPECT_THAT(changes(), IsEmpty());
    EXPECT_THAT(notifications(), IsEmpty());
}

TEST_F(Front, aNullElementIsUnsuitableAndNamedByAnEmptyText) {
    EXPECT_EQ(3511, m_front.install(m_eid, {nullptr}, &m_out, m_options));
    EXPECT_THAT(m_platform.errorMessage, testing::StartsWith("packages  cannot be installed"));
}

TEST_F(Front, nullElementsAreUnsuitableInRemovalsAndUpdatesToo) {
    EXPECT_EQ(3502, m_front.remove(m_eid, {nullptr, standard("a")}, &m_out, m_options));
    EXPECT_THAT(m_platform.errorMessage, testing::StartsWith("packages  cannot even"));
    EXPECT_EQ(3503, m_front.update(m_krEid, {nullptr}, &m_out, m_options));
    EXPECT_THAT(changes(), IsEmpty());
}

TEST_F(Front, nullElementsOnTheNodeArePassedOver) {
    EXPECT_EQ(0, m_front.install(m_node, {nullptr}, &m_out, m_options));
    EXPECT_EQ(0, m_front.remove(m_node, {nullptr}, &m_out, m_options));
    EXPECT_EQ(0, m_front.update(m_node, {nullptr}, &m_out, m_options));
    EXPECT_EQ(0, m_front.list(m_node, {nullptr}, &m_out, m_listOptions));
    EXPECT_EQ(0, m_front.getInfo(m_node, {nullptr}, &m_out));
    EXPECT_EQ(0, m_front.clean({nullptr}));
    EXPECT_EQ(0, m_front.fetch({nullptr}));
    EXPECT_THAT(changes(), ElementsAre("tem.unset"));
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(Front, namesAreNeverTakenForFormats) {
    EXPECT_EQ(3511, m_front.install(m_eid, {element(foreign("%s%n"))}, &m_out, m_options));
    EXPECT_THAT(m_platform.errorMessage, testing::StartsWith("packages %s%n cannot be"));
    EXPECT_EQ(3502, m_front.remove(m_eid, {foreign("%s%n")}, &m_out, m_options));
    EXPECT_THAT(m_platform.errorMessage, testing::StartsWith("packages %s%n cannot even"));
}

TEST_F(Front, installIntoAContainerOfKrTemplatesRunsTheKrTool) {
    run(0, {"sh amd64 5.1"});
    EXPECT_EQ(0, m_front.install(m_krEid, {element(foreign("sh"))}, &m_out, m_options));
    EXPECT_THAT(changes(), ElementsAre("exec [qxpkg] [install] [-q] [-p] [102] [sh]"));
    EXPECT_THAT(notifications(), ElementsAre("sendCommandConfUpdate 102"));
    EXPECT_EQ("sh", m_out.at(0)->name);
}

TEST_F(Front, installRefusesStandardTemplatesInAContainerOfKrTemplates) {
    EXPECT_EQ(3511, m_front.install(m_krEid, {element(foreign("sh")), element(standard("a"))},
                                    &m_out, m_options));
    EXPECT_THAT(m_platform.errorMessage, testing::StartsWith("packages a cannot be installed"));
    EXPECT_THAT(changes(), IsEmpty());
}

TEST_F(Front, installOnTheNodeOffersFilesToTheKrTechnologyFirst) {
    run(0, {"base web"});
    EXPECT_EQ(0, m_front.install(m_node, {element(nullptr, "/a.tar")}, &m_out, m_options));
    EXPECT_THAT(changes(), ElementsAre("exec [qxpkg] [install] [template] [-q] [/a.tar]"));
    EXPECT_EQ(1U, m_out.size());
    EXPECT_TRUE(cacheUpdateAsked());
    EXPECT_THAT(notifications(), IsEmpty());
}

TEST_F(Front, installOnTheNodeOffersForeignFilesToTheStandardTechnology) {
    run(33);
    EXPECT_EQ(0, m_front.install(m_node, {element(nullptr, "/a.tar")}, &m_out, m_options));
    EXPECT_THAT(changes(), ElementsAre("exec [qxpkg] [install] [template] [-q] [/a.tar]",
                                       "tem.set /a.tar force=0"));
    EXPECT_TRUE(cacheUpdateAsked());
}

TEST_F(Front, aFailedInstallOnTheNodeEndsTheWalkAndStillAsksForACacheUpdate) {
    run(27);
    EXPECT_EQ(3510, m_front.install(m_node, {element(nullptr, "/a.tar")}, &m_out, m_options));
    EXPECT_EQ(1U, changes().size());
    EXPECT_TRUE(cacheUpdateAsked());
}

TEST_F(Front, aFailureOfTheLastTechnologyStillAsksForACacheUpdate) {
    run(33);
    m_platform.temResults["set"] = {-7};
    EXPECT_EQ(3510, m_front.install(m_node, {element(nullptr, "/a.tar")}, &m_out, m_options));
    EXPECT_TRUE(cacheUpdateAsked());
}

TEST_F(Front, aCollectionThatNoTechnologyKnowsIs3511WithItsMessage) {
    run(33);
    m_platform.temResults["set"] = {-27};
    EXPECT_EQ(3511, m_front.install(m_node, {element(nullptr, "/a.tar")}, &m_out, m_options));
    EXPECT_EQ(
        "distributive collection contains either files of unsupported types or templates of "
        "different technologies",
        m_platform.errorMessage);
    EXPECT_FALSE(cacheUpdateAsked());
}

TEST_F(Front, anInstallOnTheNodeWithoutFilesChangesNothing) {
    EXPECT_EQ(0, m_front.install(m_node, {}, &m_out, m_options));
    EXPECT_THAT(changes(), IsEmpty());
    EXPECT_FALSE(cacheUpdateAsked());
    EXPECT_EQ(0, m_front.install(m_node, {element(standard("a"))}, &m_out, m_options));
    EXPECT_THAT(changes(), IsEmpty());
    EXPECT_TRUE(cacheUpdateAsked());
}

// --- remove

TEST_F(Front, removeFromAContainerNotifiesWhateverTheResult) {
    m_platform.temResults["rm"] = {0, -9};
    EXPECT_EQ(0, m_front.remove(m_eid, {standard("a")}, &m_out, m_options));
    EXPECT_EQ(-9, m_front.remove(m_eid, {standard("a")}, &m_out, m_options));
    EXPECT_THAT(notifications(),
                ElementsAre("sendCommandConfUpdate 101", "sendCommandConfUpdate 101"));
    EXPECT_FALSE(cacheUpdateAsked());
}

TEST_F(Front, removeRefusesByNameAndStillNotifies) {
    EXPECT_EQ(3502, m_front.remove(m_eid, {foreign("a"), standard("b")}, &m_out, m_options));
    EXPECT_EQ(
        "packages a cannot even be installed into Container because they seem to be incompatible "
        "with the later OS template.",
        m_platform.errorMessage);
    EXPECT_THAT(changes(), IsEmpty());
    EXPECT_THAT(notifications(), ElementsAre("sendCommandConfUpdate 101"));
}

TEST_F(Front, removeFromTheNodeAsksForACacheUpdateWhateverTheResult) {
    m_platform.temResults["unset"] = {-30};
    EXPECT_EQ(-30, m_front.remove(m_node, {standard("a")}, &m_out, m_options));
    EXPECT_TRUE(cacheUpdateAsked());
    EXPECT_THAT(notifications(), IsEmpty());
}

TEST_F(Front, removeFromTheNodeGivesTheListToEveryTechnology) {
    EXPECT_EQ(0, m_front.remove(m_node, {standard("a"), osTemplate(".b")}, &m_out, m_options));
    EXPECT_THAT(changes(),
                ElementsAre("exec [qxpkg] [remove] [template] [-q] [.b]", "tem.unset a/1"));
}

TEST_F(Front, aFailedRemoveFromTheNodeEndsTheWalk) {
    run(27);
    EXPECT_EQ(-1, m_front.remove(m_node, {standard("a"), osTemplate(".b")}, &m_out, m_options));
    EXPECT_THAT(changes(), ElementsAre("exec [qxpkg] [remove] [template] [-q] [.b]"));
    EXPECT_TRUE(cacheUpdateAsked());
}

TEST_F(Front, removeFromAContainerOfKrTemplatesPassesTheCodeOfTheToolOn) {
    run(27);
    EXPECT_EQ(27, m_front.remove(m_krEid, {foreign("sh")}, &m_out, m_options));
    EXPECT_THAT(changes(), ElementsAre("exec [qxpkg] [remove] [-q] [-p] [102] [sh]"));
    EXPECT_THAT(notifications(), ElementsAre("sendCommandConfUpdate 102"));
}

TEST_F(Front, removeRefusesStandardTemplatesInAContainerOfKrTemplates) {
    EXPECT_EQ(3502, m_front.remove(m_krEid, {standard("a")}, &m_out, m_options));
    EXPECT_THAT(changes(), IsEmpty());
    EXPECT_THAT(notifications(), ElementsAre("sendCommandConfUpdate 102"));
}

TEST_F(Front, anEmptyRemoveFromTheNodeCallsTheTechnologiesAndAsksForNoCacheUpdate) {
    EXPECT_EQ(0, m_front.remove(m_node, {}, &m_out, m_options));
    EXPECT_THAT(changes(), ElementsAre("tem.unset"));
    EXPECT_FALSE(cacheUpdateAsked());
}

TEST_F(Front, anEmptyRemoveFromAContainerReachesItsTechnologyAndNotifies) {
    EXPECT_EQ(0, m_front.remove(m_eid, {}, &m_out, m_options));
    EXPECT_EQ(0, m_front.remove(m_krEid, {}, &m_out, m_options));
    EXPECT_THAT(changesAndReports(),
                ElementsAre("tem.rm eid=" + m_eid.toString() + " force=0 second=1",
                            "sendCommandConfUpdate 101", "exec [qxpkg] [remove] [-q] [-p] [102]",
                            "sendCommandConfUpdate 102"));
}

// --- update

TEST_F(Front, updateInAContainerNotifies) {
    m_platform.temResults["add"] = {-9};
    EXPECT_EQ(-9, m_front.update(m_eid, {element(standard("a"))}, &m_out, m_options));
    EXPECT_THAT(notifications(), ElementsAre("sendCommandConfUpdate 101"));
    EXPECT_FALSE(cacheUpdateAsked());
}

TEST_F(Front, updateOnTheNodeAsksForACacheUpdateWhateverTheResult) {
    m_platform.temResults["cache"] = {-4};
    EXPECT_EQ(-4, m_front.update(m_node, {element(standard("a"))}, &m_out, m_options));
    EXPECT_TRUE(cacheUpdateAsked());
    EXPECT_THAT(notifications(), IsEmpty());
}

TEST_F(Front, updateOnTheNodeRenewsKrCachesBeforeStandardOnes) {
    EXPECT_EQ(0, m_front.update(m_node, {element(standard("a")), element(osTemplate(".b"))}, &m_out,
                                m_options));
    EXPECT_THAT(changes(), ElementsAre("exec [qxpkg] [update] [cache] [-q] [.b]", "tem.cache a/1"));
}

TEST_F(Front, anEmptyUpdateInAContainerOfKrTemplatesReachesTheTool) {
    EXPECT_EQ(0, m_front.update(m_krEid, {}, &m_out, m_options));
    EXPECT_THAT(changes(), ElementsAre("exec [qxpkg] [update] [-q] [-p] [102]"));
    EXPECT_THAT(notifications(), ElementsAre("sendCommandConfUpdate 102"));
}

TEST_F(Front, anEmptyUpdateInAContainerReachesTheTechnology) {
    EXPECT_EQ(0, m_front.update(m_eid, {}, &m_out, m_options));
    EXPECT_THAT(changes(), ElementsAre("tem.add eid=" + m_eid.toString() + " force=0 second=0"));
}

TEST_F(Front, updateRefusesWith3503AndTheTextOfRemove) {
    EXPECT_EQ(3503, m_front.update(m_eid, {element(foreign("a"))}, &m_out, m_options));
    EXPECT_EQ(
        "packages a cannot even be installed into Container because they seem to be incompatible "
        "with the later OS template.",
        m_platform.errorMessage);
    EXPECT_THAT(notifications(), ElementsAre("sendCommandConfUpdate 101"));
}

TEST_F(Front, anEmptyUpdateOnTheNodeStillAsksForACacheUpdate) {
    EXPECT_EQ(0, m_front.update(m_node, {}, &m_out, m_options));
    EXPECT_THAT(changes(), ElementsAre("exec [qxpkg] [update] [cache] [-q]", "tem.cache"));
    EXPECT_TRUE(cacheUpdateAsked());
}

// --- lists, information, caches

TEST_F(Front, aFailingTechnologyIsMinusOneInListsAndInformation) {
    m_platform.temResults["ls"] = {-9};
    m_platform.temResults["get"] = {-9};
    EXPECT_EQ(-1, m_front.list(m_node, {}, &m_out, m_listOptions));
    EXPECT_EQ(-1, m_front.getInfo(m_node, {standard("a")}, &m_out));
    EXPECT_FALSE(cacheUpdateAsked());
    EXPECT_THAT(notifications(), IsEmpty());
}

TEST_F(Front, listsAndDescribesPackagesOfEveryTechnologyOnTheNode) {
    m_qxtt.osTemplates = {{".base"}};
    m_qxtt.templateLists[".base"] = {{.name = ".base", .isOs = true}};
    EXPECT_EQ(0, m_front.list(m_node, {}, &m_out, m_listOptions));
    EXPECT_EQ(0, m_front.getInfo(m_node, {standard("a"), osTemplate(".base")}, &m_out));
    EXPECT_EQ(1U, m_platform.callsOf("tem.ls ").size());
    EXPECT_THAT(m_platform.calls, Contains("tem.get a/1"));
    ASSERT_EQ(2U, m_out.size());
    EXPECT_EQ(".base", m_out[0]->name);
    EXPECT_EQ(".base", m_out[1]->name);
}

TEST_F(Front, aFailingKrTechnologyEndsListsAndInformation) {
    m_qxtt.codes["qxtt_get_all_base"] = {4};
    m_qxtt.codes["qxtt_get_os_tmpl_info"] = {5};
    EXPECT_EQ(-1, m_front.list(m_node, {}, &m_out, m_listOptions));
    EXPECT_EQ(-1, m_front.getInfo(m_node, {standard("a"), osTemplate(".base")}, &m_out));
    EXPECT_THAT(m_platform.callsOf("tem."), IsEmpty());
}

TEST_F(Front, listsInAContainerAskItsTechnologyOnly) {
    m_qxtt.veTemplates = {{{.name = ".base", .isOs = true}}};
    EXPECT_EQ(0, m_front.list(m_krEid, {}, &m_out, m_listOptions));
    EXPECT_EQ(1U, m_out.size());
    EXPECT_THAT(m_platform.callsOf("tem."), IsEmpty());
    m_qxtt.calls.clear();
    EXPECT_EQ(0, m_front.list(m_eid, {}, &m_out, m_listOptions));
    EXPECT_THAT(m_qxtt.calls, IsEmpty());
}

TEST_F(Front, aFailingToolIsMinusOneInCleanAndFetch) {
    run(27);
    run(27);
    EXPECT_EQ(-1, m_front.clean({osTemplate(".b")}));
    EXPECT_EQ(-1, m_front.fetch({osTemplate(".b")}));
    EXPECT_FALSE(cacheUpdateAsked());
}

TEST_F(Front, cleanAndFetchRunTheToolOnce) {
    EXPECT_EQ(0, m_front.clean({osTemplate(".b")}));
    EXPECT_EQ(0, m_front.fetch({foreign("sh")}));
    EXPECT_THAT(changes(), ElementsAre("exec [qxpkg] [clean] [-q] [.b]",
                                       "exec [qxpkg] [fetch] [-q] [-p] [sh]"));
}

TEST_F(Front, cleanAsksForACacheUpdateOnlyWhenItNamesPackages) {
    EXPECT_EQ(0, m_front.clean({}));
    EXPECT_FALSE(cacheUpdateAsked());
    EXPECT_EQ(0, m_front.clean({standard("a")}));
    EXPECT_TRUE(cacheUpdateAsked());
}

TEST_F(Front, fetchAsksForNoCacheUpdate) {
    EXPECT_EQ(0, m_front.fetch({standard("a")}));
    EXPECT_FALSE(cacheUpdateAsked());
}

TEST_F(Front, migrateIsNotServed) {
    EXPECT_EQ(-1, m_front.migrate(m_node, {standard("a")}, m_options));
}

}  // namespace
}  // namespace QXA::front
