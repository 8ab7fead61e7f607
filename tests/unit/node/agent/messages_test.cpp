// Package records in XML messages: round trips, hostile bytes, bounds.
#include <gtest/gtest.h>

#include <typeinfo>

#include "QXA/QXAPackageMessages.h"
#include "QXA/QXAPackageQXTemplate.h"
#include "QXL/QXLXmlMessage.h"
#include "node/agent/xml_text.h"

namespace {

using QXA::QXAPackageQXTemplate;
using QXA::QXAPackageQXTemplateStd;
using QXL::QXLPackage;
using QXL::QXLPackageList;
using QXL::QXLXmlMessage;

QXAPackageQXTemplateStd standardRecord() {
    QXAPackageQXTemplateStd record;
    record.name = "base";
    record.version = "20";
    record.summary = "a <summary> & \"more\"";
    record.description = " first line\n\tsecond\r\nthird ";
    record.architecture = "x86_64";
    record.os.platform = "Linux";
    record.os.osName = "";
    record.os.extra = "e";
    record.isOsTemplate = true;
    record.versionFlag = true;
    record.detail = "d";
    record.status = true;
    record.setTechnologyList({"x86", "", "nptl"});
    record.packageFlag = false;
    return record;
}

void expectEqual(const QXLPackage& a, const QXLPackage& b) {
    EXPECT_EQ(a.name, b.name);
    EXPECT_EQ(a.version, b.version);
    EXPECT_EQ(a.summary, b.summary);
    EXPECT_EQ(a.description, b.description);
    EXPECT_EQ(a.architecture, b.architecture);
    EXPECT_EQ(a.os, b.os);
}

void expectEqual(const QXAPackageQXTemplateStd& a, const QXAPackageQXTemplateStd& b) {
    expectEqual(static_cast<const QXLPackage&>(a), b);
    EXPECT_EQ(a.isOsTemplate, b.isOsTemplate);
    EXPECT_EQ(a.versionFlag, b.versionFlag);
    EXPECT_EQ(a.detail, b.detail);
    EXPECT_EQ(a.status, b.status);
    EXPECT_EQ(a.getTechnologyList(), b.getTechnologyList());
    EXPECT_EQ(a.packageFlag, b.packageFlag);
    EXPECT_EQ(a.members.size(), b.members.size());
}

QXLPackageList throughText(const QXLPackage& record) {
    QXLXmlMessage message;
    EXPECT_EQ(message.append(record), 0);
    const auto parsed = QXLXmlMessage::parse(message.text());
    QXLPackageList records;
    EXPECT_TRUE(parsed) << message.text();
    EXPECT_TRUE(!parsed || parsed->read(records) == 0);
    return records;
}

TEST(XmlMessageTest, GivesAStandardRecordBackInEveryField) {
    const auto record = standardRecord();
    const auto records = throughText(record);
    ASSERT_EQ(records.size(), 1U);
    const auto* read = dynamic_cast<const QXAPackageQXTemplateStd*>(records[0].get());
    ASSERT_NE(read, nullptr);
    expectEqual(*read, record);
}

TEST(XmlMessageTest, KeepsUnsetAndEmptyTextsApart) {
    QXLPackage record;
    record.os.platform = "";
    const auto records = throughText(record);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0]->os.platform, "");
    EXPECT_EQ(records[0]->os.osName, std::nullopt);
    EXPECT_EQ(records[0]->os, record.os);
}

TEST(XmlMessageTest, GivesADefaultRecordBack) {
    const auto records = throughText(QXAPackageQXTemplateStd());
    ASSERT_EQ(records.size(), 1U);
    expectEqual(dynamic_cast<const QXAPackageQXTemplateStd&>(*records[0]),
                QXAPackageQXTemplateStd());
}

template <typename Package>
class EachClassTest : public testing::Test {};
using Classes = testing::Types<QXLPackage, QXL::QXLPackageLinux, QXL::QXLPackageRpm,
                               QXL::QXLPackageDeb, QXAPackageQXTemplate, QXAPackageQXTemplateStd>;
TYPED_TEST_SUITE(EachClassTest, Classes);

TYPED_TEST(EachClassTest, IsReadBackAsItself) {
    TypeParam record;
    record.name = "n";
    const auto records = throughText(record);
    ASSERT_EQ(records.size(), 1U);
    const QXLPackage& read = *records[0];
    EXPECT_EQ(typeid(read), typeid(TypeParam));
    EXPECT_EQ(read.name, "n");
}

class ForeignPackage : public QXLPackage {};

TEST(XmlMessageTest, WritesARecordOfAnotherClassAsAPlainOne) {
    ForeignPackage record;
    record.name = "n";
    const auto records = throughText(record);
    ASSERT_EQ(records.size(), 1U);
    const QXLPackage& read = *records[0];
    EXPECT_EQ(typeid(read), typeid(QXLPackage));
}

TEST(XmlMessageTest, CarriesMembersOfARecord) {
    QXAPackageQXTemplate record;
    auto member = std::make_shared<QXL::QXLPackageRpm>();
    member->name = "bash";
    record.members = {member, nullptr};
    const auto records = throughText(record);
    ASSERT_EQ(records.size(), 1U);
    const auto& members = dynamic_cast<const QXAPackageQXTemplate&>(*records[0]).members;
    ASSERT_EQ(members.size(), 1U);
    EXPECT_NE(dynamic_cast<const QXL::QXLPackageRpm*>(members[0].get()), nullptr);
    EXPECT_EQ(members[0]->name, "bash");
}

TEST(XmlMessageTest, KeepsTheOrderOfRecords) {
    QXLXmlMessage message;
    for (const char* name : {"b", "a", "c"}) {
        QXLPackage record;
        record.name = name;
        ASSERT_EQ(message.append(record), 0);
    }
    QXLPackageList records;
    ASSERT_EQ(QXLXmlMessage::parse(message.text())->read(records), 0);
    ASSERT_EQ(records.size(), 3U);
    EXPECT_EQ(records[0]->name + records[1]->name + records[2]->name, "bac");
}

TEST(XmlMessageTest, WritesWhatXmlCannotCarryAsReplacementCharacters) {
    QXLPackage record;
    record.name = std::string("a\0b\x01", 4) + "\xff\xc3\xa9\xed\xa0\x80\xef\xbf\xbe";
    const auto records = throughText(record);
    ASSERT_EQ(records.size(), 1U);
    std::string expected =
        "a\xef\xbf\xbd"
        "b\xef\xbf\xbd\xef\xbf\xbd\xc3\xa9";
    for (int i = 0; i < 6; ++i) {
        expected += "\xef\xbf\xbd";
    }
    EXPECT_EQ(records[0]->name, expected);
}

TEST(XmlMessageTest, KeepsAnyByteFromBreakingTheXml) {
    for (int byte = 0; byte < 256; ++byte) {
        QXLPackage record;
        record.name = std::string(1, static_cast<char>(byte)) + "]]>&<\"'";
        EXPECT_EQ(throughText(record).size(), 1U) << byte;
    }
}

TEST(XmlMessageTest, WritesTheSameTextAgainAfterReading) {
    QXLXmlMessage message;
    ASSERT_EQ(message.append(standardRecord()), 0);
    const std::string text = message.text();
    EXPECT_EQ(QXLXmlMessage::parse(text)->text(), text);
}

std::string messageWith(const std::string& content) {
    return "<message xmlns=\"urn:qx:agent:types:1\">" + content + "</message>";
}

struct BadMessage {
    const char* defect;
    std::string text;
};

class BadMessageTest : public testing::TestWithParam<BadMessage> {};

TEST_P(BadMessageTest, IsNoMessage) {
    EXPECT_EQ(QXLXmlMessage::parse(GetParam().text), nullptr);
}

std::string nested(unsigned depth) {
    std::string text;
    for (unsigned i = 0; i < depth; ++i) {
        text += "<a>";
    }
    for (unsigned i = 0; i < depth; ++i) {
        text += "</a>";
    }
    return text;
}

INSTANTIATE_TEST_SUITE_P(
    Each, BadMessageTest,
    testing::Values(BadMessage{"empty", ""}, BadMessage{"no_xml", "hello"},
                    BadMessage{"cut_short", messageWith("<package>").substr(0, 50)},
                    BadMessage{"unbalanced", messageWith("<package>")},
                    BadMessage{"crossed", messageWith("<a><b></a></b>")},
                    BadMessage{"other_root", "<note xmlns=\"urn:qx:agent:types:1\"/>"},
                    BadMessage{"other_namespace", "<message xmlns=\"urn:x\"/>"},
                    BadMessage{"no_namespace", "<message/>"},
                    BadMessage{"two_roots", messageWith("") + messageWith("")},
                    BadMessage{"document_type",
                               "<!DOCTYPE m [<!ENTITY a \"b\">]>" + messageWith("&a;")},
                    BadMessage{"bad_utf8", messageWith("<a>\xff</a>")},
                    BadMessage{"control_character", messageWith("<a>\x01</a>")},
                    BadMessage{"too_deep", messageWith(nested(QXLXmlMessage::kMaxDepth))}),
    [](const auto& message) { return std::string(message.param.defect); });

TEST(XmlMessageTest, TakesTheDeepestNestingThatIsAllowed) {
    EXPECT_NE(QXLXmlMessage::parse(messageWith(nested(QXLXmlMessage::kMaxDepth - 1))), nullptr);
}

// Large texts are no parameters: those are made anew by every process, whichever test it runs.
TEST(XmlMessageTest, RefusesNestingThatWouldExhaustTheStack) {
    EXPECT_EQ(QXLXmlMessage::parse(messageWith(nested(100000))), nullptr);
}

TEST(XmlMessageTest, RefusesMoreBytesThanMemoryShouldHold) {
    const auto text = messageWith(std::string(QXLXmlMessage::kMaxBytes, ' '));
    EXPECT_EQ(QXLXmlMessage::parse(text), nullptr);
}

TEST(XmlMessageTest, RefusesMoreElementsThanMemoryShouldHold) {
    const std::string element = "<a/>";
    std::string text;
    text.reserve(element.size() * ((4U << 20) + 1));
    for (unsigned i = 0; i < (4U << 20) + 1; ++i) {
        text += element;
    }
    EXPECT_FALSE(QXL::isWithinBounds(text, {text.size(), 64, 4U << 20}));
}

constexpr const char* kStd = "package_std_qxtemplateType";

std::string packageElement(const std::string& type, const std::string& content) {
    return "<package type=\"" + type + "\">" + content + "</package>";
}

class BadRecordTest : public testing::TestWithParam<BadMessage> {};

TEST_P(BadRecordTest, IsRefusedAndLeavesTheListAlone) {
    const auto message = QXLXmlMessage::parse(
        messageWith(packageElement(kStd, "<name>good</name>") + GetParam().text));
    ASSERT_TRUE(message);
    QXLPackageList records;
    EXPECT_EQ(message->read(records), -1);
    EXPECT_TRUE(records.empty());
}

INSTANTIATE_TEST_SUITE_P(
    Each, BadRecordTest,
    testing::Values(
        BadMessage{"no_type", "<package><name>n</name></package>"},
        BadMessage{"unknown_type", packageElement("package_otherType", "<name>n</name>")},
        BadMessage{"no_name", packageElement(kStd, "<version>1</version>")},
        BadMessage{"name_twice", packageElement(kStd, "<name>a</name><name>b</name>")},
        BadMessage{"element_in_text", packageElement(kStd, "<name><b/></name>")},
        BadMessage{"flag_no_flag",
                   packageElement(kStd, "<name>n</name><package_flag>7</package_flag>")},
        BadMessage{"flag_empty", packageElement(kStd, "<name>n</name><status/>")},
        BadMessage{"members_twice", packageElement(kStd, "<name>n</name><members/><members/>")},
        BadMessage{"detail_twice", packageElement(kStd, "<name>n</name><detail/><detail/>")},
        BadMessage{"flag_twice", packageElement(kStd,
                                                "<name>n</name><status>true</status>"
                                                "<status>true</status>")},
        BadMessage{"os_name_twice", packageElement(kStd, "<name>n</name><os><name/><name/></os>")},
        BadMessage{"os_twice", packageElement(kStd, "<name>n</name><os/><os/>")},
        BadMessage{"bad_member",
                   packageElement(kStd, "<name>n</name><members><package/></members>")}),
    [](const auto& message) { return std::string(message.param.defect); });

TEST(XmlMessageTest, ReadsATextInSeveralPartsAsOne) {
    const auto message = QXLXmlMessage::parse(
        messageWith(packageElement("packageType", "<name>a<![CDATA[<b>]]><!-- aside -->c</name>")));
    ASSERT_TRUE(message);
    QXLPackageList records;
    ASSERT_EQ(message->read(records), 0);
    EXPECT_EQ(records.at(0)->name, "a<b>c");
}

TEST(XmlMessageTest, LeavesFieldsWithoutAnElementAsTheyStart) {
    const auto message = QXLXmlMessage::parse(messageWith(packageElement(kStd, "<name/>")));
    ASSERT_TRUE(message);
    QXLPackageList records;
    ASSERT_EQ(message->read(records), 0);
    expectEqual(dynamic_cast<const QXAPackageQXTemplateStd&>(*records.at(0)),
                QXAPackageQXTemplateStd());
}

TEST(XmlMessageTest, HoldsNothingOfARecordThatCouldNotBeWritten) {
    struct Reader {
        int operator()(QXL::QXLMessageIterator& /*message*/, ForeignPackage& /*out*/) const {
            return 0;
        }
    };
    struct FailingWriter {
        int operator()(QXL::QXLMessageIterator& /*message*/,
                       const ForeignPackage& /*record*/) const {
            return -1;
        }
    };
    const QXL::QXLDerivedParserFactory<ForeignPackage, QXLPackage, Reader, FailingWriter> factory(
        false, "here", 1);
    QXLXmlMessage message;
    EXPECT_EQ(message.append(ForeignPackage()), -1);
    QXAPackageQXTemplate holder;
    holder.members = {std::make_shared<ForeignPackage>()};
    EXPECT_EQ(message.append(holder), -1);
    EXPECT_EQ(message.text(), QXLXmlMessage().text());
}

TEST(XmlMessageTest, AppendsTheRecordsThatItReads) {
    QXLXmlMessage message;
    ASSERT_EQ(message.append(QXLPackage()), 0);
    QXLPackageList records{nullptr};
    EXPECT_EQ(message.read(records), 0);
    EXPECT_EQ(records.size(), 2U);
}

TEST(XmlMessageTest, PassesElementsOverThatItDoesNotKnow) {
    const auto message = QXLXmlMessage::parse(
        messageWith("<new/>" + packageElement("packageType", "<name>n</name><new>x</new>")));
    QXLPackageList records;
    ASSERT_EQ(message->read(records), 0);
    EXPECT_EQ(records.size(), 1U);
}

TEST(XmlMessageTest, GivesRecordsByIndex) {
    const auto message = QXLXmlMessage::parse(messageWith(
        packageElement("packageType", "<name>a</name>") + packageElement(kStd, "<name>b</name>")));
    QXAPackageQXTemplateStd record;
    const auto place = message->record(1);
    ASSERT_TRUE(place);
    EXPECT_EQ(QXAPackageQXTemplateStd::Reader()(*place, record), 0);
    EXPECT_EQ(record.name, "b");
    EXPECT_EQ(QXAPackageQXTemplateStd::Reader()(*message->record(0), record), -1);
    EXPECT_EQ(message->record(2), nullptr);
}

TEST(StandardWriterTest, SaysItsTypeAndNothingOfDerivedClasses) {
    QXLXmlMessage message;
    const auto place = message.beginRecord();
    ASSERT_EQ(QXAPackageQXTemplateStd::Writer()(*place, QXAPackageQXTemplateStd()), 0);
    EXPECT_EQ(message.text(),
              messageWith(
                  packageElement(kStd,
                                 "<name/><version/><summary/><description/><architecture/>"
                                 "<os_template>false</os_template>"
                                 "<version_flag>false</version_flag><status>false</status><detail/>"
                                 "<package_flag>true</package_flag>")));
}

class OtherIterator : public QXL::QXLMessageIterator {};

TEST(StandardWriterTest, FailsOnAnIteratorOfAnotherMake) {
    OtherIterator place;
    QXAPackageQXTemplateStd record;
    EXPECT_EQ(QXAPackageQXTemplateStd::Writer()(place, record), -1);
    EXPECT_EQ(QXAPackageQXTemplateStd::Reader()(place, record), -1);
}

TEST(ParserFamilyTest, IsOneObjectWithTheAgentsFactories) {
    const auto data = QXL::QXLParserFactoryData<QXLPackage>::instance();
    EXPECT_EQ(data, QXL::QXLParserFactoryData<QXLPackage>::instance());
    ASSERT_TRUE(data->factories.contains(typeid(QXLPackage).name()));
    EXPECT_EQ(data->defaultFactory, data->factories[typeid(QXLPackage).name()]);
}

TEST(XmlTextTest, KnowsCharactersOfEveryLength) {
    EXPECT_TRUE(QXL::isXmlText("a\t\n\r\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80"));
    for (const char* bad : {"\xc0\x80", "\xe0\x80\x80", "\xf0\x80\x80\x80", "\xf4\x90\x80\x80",
                            "\x80", "\xc3", "\xe2\x82", "\x1f", "\xed\xa0\x80", "\xef\xbf\xbf"}) {
        EXPECT_FALSE(QXL::isXmlText(bad)) << testing::PrintToString(bad);
    }
}

}  // namespace
