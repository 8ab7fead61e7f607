// Which environments the target options name.
#include "tools/qxa/targets.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qxa {
namespace {

using testing::ElementsAre;

const std::vector<QXA::QXAEnvRecord>& containers() {
    static const auto records = [] {
        std::vector<QXA::QXAEnvRecord> list;
        for (const int veid : {9, 101, 102, 210}) {
            QXA::QXAEnvRecord record;
            record.veid = veid;
            record.eid = QXL::QXLEID::fromString("abcdef00-0000-0000-0000-000000000" +
                                                 std::to_string(1000 + veid).substr(1));
            list.push_back(record);
        }
        return list;
    }();
    return records;
}

std::vector<std::string> labels(const TargetOptions& options) {
    std::vector<std::string> found;
    for (const auto& target : targetsOf(options, containers())) {
        found.push_back(target.known ? target.label : "unknown " + target.label);
    }
    return found;
}

TargetOptions withContainers(std::vector<std::string> words) {
    TargetOptions options;
    options.containers = std::move(words);
    return options;
}

TEST(TargetsOf, noOptionNamesTheNode) {
    const auto targets = targetsOf({}, containers());

    ASSERT_EQ(1U, targets.size());
    EXPECT_TRUE(targets[0].node);
    EXPECT_EQ(QXL::QXLEID::EID_LOCAL, targets[0].eid);
}

TEST(TargetsOf, numbersAreSplitAtCommasAndOrderedByNumber) {
    EXPECT_THAT(labels(withContainers({"210,9", "101"})), ElementsAre("9", "101", "210"));
}

TEST(TargetsOf, aContainerNamedTwiceIsTakenOnce) {
    EXPECT_THAT(labels(withContainers({"101", "10*", "101"})), ElementsAre("101", "102"));
}

TEST(TargetsOf, aGlobMatchesNumbersAsTexts) {
    EXPECT_THAT(labels(withContainers({"?0?"})), ElementsAre("101", "102"));
}

TEST(TargetsOf, anUnknownNumberIsATargetThatIsNotKnown) {
    EXPECT_THAT(labels(withContainers({"999,101"})), ElementsAre("101", "unknown 999"));
}

TEST(TargetsOf, aGlobThatMatchesNothingIsATargetThatIsNotKnown) {
    EXPECT_THAT(labels(withContainers({"7*"})), ElementsAre("unknown 7*"));
}

TEST(TargetsOf, anUnknownNumberHasNoEidThatCouldBeTakenForTheNode) {
    const auto targets = targetsOf(withContainers({"999"}), containers());

    EXPECT_FALSE(targets[0].node);
    EXPECT_FALSE(targets[0].eid.isValid());
}

TEST(TargetsOf, allContainersAreTakenInTheirOrder) {
    TargetOptions options;
    options.allContainers = true;

    EXPECT_THAT(labels(options), ElementsAre("9", "101", "102", "210"));
}

TEST(TargetsOf, anEidNamesItsContainerInEitherCase) {
    for (const char* eid :
         {"abcdef00-0000-0000-0000-000000000101", "ABCDEF00-0000-0000-0000-000000000101"}) {
        TargetOptions options;
        options.eids = {eid};

        EXPECT_THAT(labels(options), ElementsAre("101")) << eid;
    }
}

TEST(TargetsOf, anUnknownEidKeepsItsValue) {
    TargetOptions options;
    options.eids = {"11111111-0000-0000-0000-000000000000"};

    const auto targets = targetsOf(options, containers());

    ASSERT_EQ(1U, targets.size());
    EXPECT_FALSE(targets[0].known);
    EXPECT_EQ(options.eids[0], targets[0].eid.toString());
}

}  // namespace
}  // namespace qxa
