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
    /// Longest text that is parsed, in bytes, and the deepest nesting of elements. Agents on one
    /// node exchange lists of some thousand records; more is an attack or a fault.
    static constexpr std::size_t kMaxBytes = 64U << 20;
    static constexpr unsigned kMaxDepth = 64;

    /// An empty message.
    QXLXmlMessage();
    QXLXmlMessage(const QXLXmlMessage&) = delete;
    QXLXmlMessage& operator=(const QXLXmlMessage&) = delete;
    ~QXLXmlMessage();

    /// Reads a message. @return null when the text is no well-formed message within the bounds.
    static std::unique_ptr<QXLXmlMessage> parse(std::string_view text);

    /// The message as text: UTF-8, with bytes that XML cannot carry written as U+FFFD.
    [[nodiscard]] std::string text() const;

    /// Appends a record through the factory registered for its class, or the family's default.
    /// @return 0, or -1 when there is no such factory or it failed.
    int append(const QXLPackage& record);

    /// Reads every record, each through the factory of the class that its type identifier names.
    /// @return 0; -1 when one could not be read, and `out` is then untouched.
    int read(QXLPackageList& out) const;

    /// Where the next record goes; owned by the caller, and not to outlive the message.
    std::unique_ptr<QXLMessageIterator> beginRecord();

    /// The record with this index; null when there are fewer.
    [[nodiscard]] std::unique_ptr<QXLMessageIterator> record(std::size_t index) const;

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace QXL
