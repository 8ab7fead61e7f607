// Agent messages as XML, through pugixml.
//
//   <message xmlns="urn:qx:agent:types:1">
//     <package type="package_rpmType"> ... </package>
//     ...
//   </message>
#include "QXL/QXLXmlMessage.h"

#include <unistd.h>

#include <cstring>
#include <typeinfo>

#include "QXA/QXAPackageMessages.h"
#include "node/agent/package_elements.h"
#include "node/agent/xml_place.h"
#include "node/agent/xml_text.h"

namespace QXL {

namespace {

constexpr const char* kMessageElement = "message";
constexpr const char* kNamespaceAttribute = "xmlns";

/// A record has some dozens of elements, and an element needs more memory than its text.
constexpr std::size_t kMaxElements = 4U << 20;

/// Line ends within texts are kept, because white space is content here.
constexpr unsigned kParseFlags =
    pugi::parse_cdata | pugi::parse_escapes | pugi::parse_ws_pcdata_single;

/// Writes a carriage return as a reference; other parsers would read it as a line feed.
class Writer : public pugi::xml_writer {
public:
    void write(const void* data, std::size_t size) override {
        std::string_view block(static_cast<const char*>(data), size);
        for (auto at = block.find('\r'); at != std::string_view::npos; at = block.find('\r')) {
            m_text.append(block.substr(0, at)).append("&#13;");
            block.remove_prefix(at + 1);
        }
        m_text.append(block);
    }

    std::string take() { return std::move(m_text); }

private:
    std::string m_text;
};

}  // namespace

struct QXLXmlMessage::Impl {
    pugi::xml_document document;
    pugi::xml_node message;
};

QXLXmlMessage::QXLXmlMessage() : m_impl(std::make_unique<Impl>()) {
    m_impl->message = m_impl->document.append_child(kMessageElement);
    m_impl->message.append_attribute(kNamespaceAttribute) = kTypesNamespace;
}

QXLXmlMessage::~QXLXmlMessage() = default;

std::unique_ptr<QXLXmlMessage> QXLXmlMessage::parse(std::string_view text) {
    if (!isWithinBounds(text, {kMaxBytes, kMaxDepth, kMaxElements}) || !isXmlText(text)) {
        return nullptr;
    }
    auto parsed = std::make_unique<QXLXmlMessage>();
    Impl& impl = *parsed->m_impl;
    const auto result =
        impl.document.load_buffer(text.data(), text.size(), kParseFlags, pugi::encoding_utf8);
    impl.message = impl.document.document_element();
    const bool isMessage =
        result && std::strcmp(impl.message.name(), kMessageElement) == 0 &&
        !impl.message.next_sibling() &&
        std::strcmp(impl.message.attribute(kNamespaceAttribute).value(), kTypesNamespace) == 0;
    return isMessage ? std::move(parsed) : nullptr;
}

std::string QXLXmlMessage::text() const {
    Writer writer;
    m_impl->message.print(writer, "", pugi::format_raw, pugi::encoding_utf8);
    return writer.take();
}

int QXLXmlMessage::append(const QXLPackage& record) {
    return appendPackage(m_impl->message, record);
}

int QXLXmlMessage::read(QXLPackageList& out) const {
    QXLPackageList records;
    if (readPackages(m_impl->message, records) != 0) {
        return -1;
    }
    out.insert(out.end(), records.begin(), records.end());
    return 0;
}

std::unique_ptr<QXLMessageIterator> QXLXmlMessage::beginRecord() {
    return std::make_unique<XmlPlace>(m_impl->message.append_child(kPackageElement));
}

std::unique_ptr<QXLMessageIterator> QXLXmlMessage::record(std::size_t index) const {
    for (const pugi::xml_node element : m_impl->message.children(kPackageElement)) {
        if (index-- == 0) {
            return std::make_unique<XmlPlace>(element);
        }
    }
    return nullptr;
}

}  // namespace QXL
