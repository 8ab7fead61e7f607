// QXLXmlMessage: an agent message in its XML form, and the records in it.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "QXL/Export.h"
#include "QXL/QXLMessage.h"
#include "QXL/QXLPackage.h"

namespace QXL {

/// One message. A message holds any number of package records, in order.
class QXL_API QXLXmlMessage {
public:
    /// Limits of parse(): bytes of text and depth of nested elements. Agents exchange lists of some
    /// thousand records; a larger message is an attack or an error.
    static constexpr std::size_t kMaxBytes = 64U << 20;
    static constexpr unsigned kMaxDepth = 64;

    /// An empty message.
    QXLXmlMessage();
    QXLXmlMessage(const QXLXmlMessage&) = delete;
    QXLXmlMessage& operator=(const QXLXmlMessage&) = delete;
    ~QXLXmlMessage();

    /// Reads a message. @return null if the text is not well-formed or exceeds the limits.
    static std::unique_ptr<QXLXmlMessage> parse(std::string_view text);

    /// The message as UTF-8 text; bytes that XML cannot represent become U+FFFD.
    [[nodiscard]] std::string text() const;

    /// Appends a record with the factory of its class, or else with the family's default factory.
    /// @return 0; -1 if there is no factory or it failed.
    int append(const QXLPackage& record);

    /// Appends all records to `out`, each read by the factory that its type identifier names.
    /// @return 0; -1 if one cannot be read: `out` is then unchanged.
    int read(QXLPackageList& out) const;

    /// A place for a new record at the end. It must not outlive the message.
    std::unique_ptr<QXLMessageIterator> beginRecord();

    /// The place of the record with this index, from 0; null if there is none. It must not outlive
    /// the message.
    [[nodiscard]] std::unique_ptr<QXLMessageIterator> record(std::size_t index) const;

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace QXL
