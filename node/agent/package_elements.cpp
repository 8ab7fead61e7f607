// Writes and reads package records in messages; defines the agent's own parser factories.
#include "node/agent/package_elements.h"

#include <unistd.h>

#include <cstring>
#include <map>
#include <optional>
#include <typeinfo>

#include "QXA/QXAPackageMessages.h"
#include "QXA/QXAPackageQXTemplate.h"
#include "node/agent/xml_place.h"
#include "node/agent/xml_text.h"

namespace QXL {

template <>
std::shared_ptr<QXLParserFactoryData<QXLPackage>> QXLParserFactoryData<QXLPackage>::instance() {
    static const auto data = std::make_shared<QXLParserFactoryData>();
    return data;
}

namespace {

using pugi::xml_node;
using QXA::QXAPackageQXTemplate;
using QXA::QXAPackageQXTemplateStd;

constexpr const char* kTypeAttribute = "type";
constexpr const char* kTrue = "true";
constexpr const char* kFalse = "false";

constexpr const char* kPlainType = "packageType";
constexpr const char* kLinuxType = "package_linuxType";
constexpr const char* kRpmType = "package_rpmType";
constexpr const char* kDebType = "package_debType";
constexpr const char* kTemplateType = "package_qxtemplateType";

// Fields by element name, one table per class; writer and reader use the same table.

struct TextField {
    const char* element;
    std::string QXLPackage::*field;
};
constexpr TextField kTexts[] = {{"name", &QXLPackage::name},
                                {"version", &QXLPackage::version},
                                {"summary", &QXLPackage::summary},
                                {"description", &QXLPackage::description},
                                {"architecture", &QXLPackage::architecture}};

struct OsField {
    const char* element;
    std::optional<std::string> QXLOS::*field;
};
constexpr OsField kOsTexts[] = {{"platform", &QXLOS::platform},
                                {"name", &QXLOS::osName},
                                {"version", &QXLOS::osVersion},
                                {"extra", &QXLOS::extra}};

struct FlagField {
    const char* element;
    bool QXAPackageQXTemplate::*field;
};
constexpr FlagField kFlags[] = {{"os_template", &QXAPackageQXTemplate::isOsTemplate},
                                {"version_flag", &QXAPackageQXTemplate::versionFlag},
                                {"status", &QXAPackageQXTemplate::status}};

constexpr const char* kOsElement = "os";
constexpr const char* kDetailElement = "detail";
constexpr const char* kTechnologyElement = "technology";
constexpr const char* kMembersElement = "members";
constexpr const char* kPackageFlagElement = "package_flag";

void writeText(xml_node record, const char* element, const std::string& text) {
    xml_node added = record.append_child(element);
    if (!text.empty()) {
        added.append_child(pugi::node_pcdata).set_value(xmlText(text).c_str());
    }
}

void writeFlag(xml_node record, const char* element, bool flag) {
    record.append_child(element).append_child(pugi::node_pcdata).set_value(flag ? kTrue : kFalse);
}

/// Reads the text of an element; it must contain only text.
bool textOf(xml_node element, std::string& text) {
    std::string found;
    for (const xml_node part : element.children()) {
        if (part.type() != pugi::node_pcdata && part.type() != pugi::node_cdata) {
            return false;
        }
        found += part.value();
    }
    text = std::move(found);
    return true;
}

/// Finds the only child of this name. True if there is one, or none (`element` is then null); false
/// if there are several.
bool onlyChild(xml_node record, const char* name, xml_node& element) {
    element = record.child(name);
    return !element || !element.next_sibling(name);
}

bool readText(xml_node record, const char* name, std::string& text) {
    xml_node element;
    return onlyChild(record, name, element) && (!element || textOf(element, text));
}

bool readFlag(xml_node record, const char* name, bool& flag) {
    std::string text = flag ? kTrue : kFalse;
    if (!readText(record, name, text) || (text != kTrue && text != kFalse)) {
        return false;
    }
    flag = text == kTrue;
    return true;
}

void writePlain(xml_node record, const QXLPackage& package) {
    for (const auto& [element, field] : kTexts) {
        writeText(record, element, package.*field);
    }
    xml_node os;
    for (const auto& [element, field] : kOsTexts) {
        if (const auto& text = package.os.*field) {
            os = os ? os : record.append_child(kOsElement);
            writeText(os, element, *text);
        }
    }
}

bool readOs(xml_node record, QXLOS& os) {
    xml_node element;
    if (!onlyChild(record, kOsElement, element)) {
        return false;
    }
    for (const auto& [name, field] : kOsTexts) {
        if (element.child(name) && !readText(element, name, (os.*field).emplace())) {
            return false;
        }
    }
    return true;
}

bool readPlain(xml_node record, QXLPackage& package) {
    if (!record.child("name")) {
        return false;
    }
    for (const auto& [element, field] : kTexts) {
        if (!readText(record, element, package.*field)) {
            return false;
        }
    }
    return readOs(record, package.os);
}

bool writeTemplate(xml_node record, const QXAPackageQXTemplate& package) {
    writePlain(record, package);
    for (const auto& [element, field] : kFlags) {
        writeFlag(record, element, package.*field);
    }
    writeText(record, kDetailElement, package.detail);
    for (const auto& technology : package.getTechnologyList()) {
        writeText(record, kTechnologyElement, technology);
    }
    if (package.members.empty()) {
        return true;
    }
    const xml_node members = record.append_child(kMembersElement);
    for (const auto& member : package.members) {
        if (member && appendPackage(members, *member) != 0) {
            return false;
        }
    }
    return true;
}

bool readTemplate(xml_node record, QXAPackageQXTemplate& package) {
    if (!readPlain(record, package)) {
        return false;
    }
    for (const auto& [element, field] : kFlags) {
        if (!readFlag(record, element, package.*field)) {
            return false;
        }
    }
    std::vector<std::string> technologies;
    for (const xml_node element : record.children(kTechnologyElement)) {
        if (!textOf(element, technologies.emplace_back())) {
            return false;
        }
    }
    package.setTechnologyList(std::move(technologies));
    xml_node members;
    return readText(record, kDetailElement, package.detail) &&
           onlyChild(record, kMembersElement, members) &&
           readPackages(members, package.members) == 0;
}

/// The element to write a record of this type into; null if the iterator is not ours.
xml_node elementToWrite(const QXLMessageIterator& message, const char* type) {
    const xml_node record = XmlPlace::elementOf(message);
    if (record) {
        xml_node(record).append_attribute(kTypeAttribute) = type;
    }
    return record;
}

xml_node elementToRead(const QXLMessageIterator& message, const char* type) {
    const xml_node record = XmlPlace::elementOf(message);
    return std::strcmp(record.attribute(kTypeAttribute).value(), type) == 0 ? record : xml_node();
}

/// Reader and writer of a class that adds nothing to the plain record.
template <typename Package, const char* const& Type>
struct PlainReader {
    int operator()(QXLMessageIterator& message, Package& out) const {
        const xml_node record = elementToRead(message, Type);
        return record && readPlain(record, out) ? 0 : -1;
    }
};

template <typename Package, const char* const& Type>
struct PlainWriter {
    int operator()(QXLMessageIterator& message, const Package& package) const {
        const xml_node record = elementToWrite(message, Type);
        if (!record) {
            return -1;
        }
        writePlain(record, package);
        return 0;
    }
};

struct TemplateReader {
    int operator()(QXLMessageIterator& message, QXAPackageQXTemplate& out) const {
        const xml_node record = elementToRead(message, kTemplateType);
        return record && readTemplate(record, out) ? 0 : -1;
    }
};

struct TemplateWriter {
    int operator()(QXLMessageIterator& message, const QXAPackageQXTemplate& package) const {
        const xml_node record = elementToWrite(message, kTemplateType);
        return record && writeTemplate(record, package) ? 0 : -1;
    }
};

template <typename Data, typename Reader, typename Writer>
using Factory = QXLDerivedParserFactory<Data, QXLPackage, Reader, Writer>;

template <typename Package, const char* const& Type>
using PlainFactory = Factory<Package, PlainReader<Package, Type>, PlainWriter<Package, Type>>;

// Records of classes without a factory are written as plain ones.
const PlainFactory<QXLPackage, kPlainType> plainFactory(true, __FILE__, __LINE__);
const PlainFactory<QXLPackageLinux, kLinuxType> linuxFactory(false, __FILE__, __LINE__);
const PlainFactory<QXLPackageRpm, kRpmType> rpmFactory(false, __FILE__, __LINE__);
const PlainFactory<QXLPackageDeb, kDebType> debFactory(false, __FILE__, __LINE__);
const Factory<QXAPackageQXTemplate, TemplateReader, TemplateWriter> templateFactory(false, __FILE__,
                                                                                    __LINE__);
const Factory<QXAPackageQXTemplateStd, QXAPackageQXTemplateStd::Reader,
              QXAPackageQXTemplateStd::Writer>
    standardFactory(false, __FILE__, __LINE__);

/// The run-time type name of the class with this type identifier; null if it is unknown.
const char* classOfType(const std::string& type) {
    static const std::map<std::string, const char*> classes = {
        {kPlainType, typeid(QXLPackage).name()},
        {kLinuxType, typeid(QXLPackageLinux).name()},
        {kRpmType, typeid(QXLPackageRpm).name()},
        {kDebType, typeid(QXLPackageDeb).name()},
        {kTemplateType, typeid(QXAPackageQXTemplate).name()},
        {QXAPackageQXTemplateStd::kMessageType, typeid(QXAPackageQXTemplateStd).name()}};
    const auto found = classes.find(type);
    return found == classes.end() ? nullptr : found->second;
}

QXLParserFactory<QXLPackage>* factoryOf(const char* className) {
    const auto data = QXLParserFactoryData<QXLPackage>::instance();
    const auto found = data->factories.find(className);
    return found == data->factories.end() ? nullptr : found->second;
}

}  // namespace

int appendPackage(xml_node parent, const QXLPackage& record) {
    auto* factory = factoryOf(typeid(record).name());
    if (factory == nullptr) {
        factory = QXLParserFactoryData<QXLPackage>::instance()->defaultFactory;
    }
    if (factory == nullptr) {
        return -1;
    }
    const xml_node element = parent.append_child(kPackageElement);
    XmlPlace place(element);
    if (factory->write(place, &record) != 0) {
        parent.remove_child(element);
        return -1;
    }
    return 0;
}

int readPackages(xml_node parent, QXLPackageList& out) {
    for (const xml_node element : parent.children(kPackageElement)) {
        const char* className = classOfType(element.attribute(kTypeAttribute).value());
        auto* factory = className == nullptr ? nullptr : factoryOf(className);
        XmlPlace place(element);
        QXLPackage* record = nullptr;
        if (factory == nullptr || factory->read(place, record) != 0) {
            return -1;
        }
        out.emplace_back(record);
    }
    return 0;
}

}  // namespace QXL

namespace QXA {

int QXAPackageQXTemplateStd::Reader::operator()(QXL::QXLMessageIterator& message,
                                                QXAPackageQXTemplateStd& out) const {
    const pugi::xml_node record = QXL::elementToRead(message, kMessageType);
    const bool good = record && QXL::readTemplate(record, out) &&
                      QXL::readFlag(record, QXL::kPackageFlagElement, out.packageFlag);
    return good ? 0 : -1;
}

int QXAPackageQXTemplateStd::Writer::operator()(QXL::QXLMessageIterator& message,
                                                const QXAPackageQXTemplateStd& record) const {
    const pugi::xml_node element = QXL::elementToWrite(message, kMessageType);
    if (!element || !QXL::writeTemplate(element, record)) {
        return -1;
    }
    QXL::writeFlag(element, QXL::kPackageFlagElement, record.packageFlag);
    return 0;
}

}  // namespace QXA
