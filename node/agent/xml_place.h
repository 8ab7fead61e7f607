// XmlPlace: this node's message iterator, an element of an XML document.
#pragma once

#include <pugixml.hpp>

#include "QXL/QXLMessage.h"

namespace QXL {

class XmlPlace : public QXLMessageIterator {
public:
    explicit XmlPlace(pugi::xml_node element) : m_element(element) {}

    /// The element of an iterator; a null node if the iterator is not an XmlPlace.
    static pugi::xml_node elementOf(const QXLMessageIterator& place) {
        const auto* xml = dynamic_cast<const XmlPlace*>(&place);
        return xml == nullptr ? pugi::xml_node() : xml->m_element;
    }

private:
    pugi::xml_node m_element;
};

}  // namespace QXL
