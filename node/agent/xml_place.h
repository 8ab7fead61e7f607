// XmlPlace: what a message iterator is on this node, an element of an XML document.
#pragma once

#include <pugixml.hpp>

#include "QXL/QXLMessage.h"

namespace QXL {

class XmlPlace : public QXLMessageIterator {
public:
    explicit XmlPlace(pugi::xml_node element) : m_element(element) {}

    /// The element behind an iterator; a null node for iterators of another make.
    static pugi::xml_node elementOf(const QXLMessageIterator& place) {
        const auto* xml = dynamic_cast<const XmlPlace*>(&place);
        return xml == nullptr ? pugi::xml_node() : xml->m_element;
    }

private:
    pugi::xml_node m_element;
};

}  // namespace QXL
