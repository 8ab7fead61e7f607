// An agent message: whatever is taken is written and taken again with the same records, and a
// record made of any bytes makes a message that is taken.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <typeinfo>

#include "QXA/QXAPackageQXTemplate.h"
#include "QXL/QXLXmlMessage.h"

namespace {

using QXL::QXLPackage;
using QXL::QXLPackageList;
using QXL::QXLXmlMessage;

void require(bool holds) {
    if (!holds) {
        abort();
    }
}

/// Writing records makes a message in which the same records are read.
void checkRecords(const QXLPackageList& records) {
    QXLXmlMessage message;
    for (const auto& record : records) {
        require(message.append(*record) == 0);
    }
    const std::string text = message.text();
    const auto parsed = QXLXmlMessage::parse(text);
    QXLPackageList again;
    require(parsed && parsed->read(again) == 0 && again.size() == records.size());
    for (size_t i = 0; i < records.size(); ++i) {
        const QXLPackage& before = *records[i];
        const QXLPackage& after = *again[i];
        require(typeid(before) == typeid(after));
        require(before.os.platform.has_value() == after.os.platform.has_value());
    }
    QXLXmlMessage second;
    for (const auto& record : again) {
        require(second.append(*record) == 0);
    }
    require(second.text() == text);
}

void checkText(std::string_view text) {
    const auto parsed = QXLXmlMessage::parse(text);
    if (!parsed) {
        return;
    }
    QXLPackageList records;
    if (parsed->read(records) == 0) {
        checkRecords(records);
    } else {
        require(records.empty());
    }
    const std::string written = parsed->text();
    const auto again = QXLXmlMessage::parse(written);
    require(again && again->text() == written);
}

void checkBytes(const std::string& bytes) {
    auto record = std::make_shared<QXA::QXAPackageQXTemplateStd>();
    record->name = bytes;
    record->os.platform = bytes;
    record->detail = bytes;
    record->setTechnologyList({bytes, ""});
    checkRecords({record});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    checkText(bytes);
    checkBytes(bytes);
    return 0;
}
