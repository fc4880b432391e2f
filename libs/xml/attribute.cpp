// SPDX-License-Identifier: Apache-2.0
#include "libs/xml/attribute.h"

#include "libs/xml/scan.h"
#include "libs/xml/xmlerrors.h"

namespace tessel::xml {

unsigned Attribute::parse(const String& text, unsigned pos) {
    storage().anchor(text);
    const std::string_view bytes = text.view();
    const unsigned start = skipBlanks(bytes, pos);
    if (start == String::npos) {
        return String::npos;
    }
    const unsigned end = findClass(bytes, scan::kAttrEnd, start);
    m_name = bytes.substr(start, end - start);
    if (m_name.empty()) {
        return String::npos;
    }
    const unsigned next = skipBlanks(bytes, end);
    if (next == String::npos || bytes[next] != '=') {
        return next;
    }
    m_hasValue = true;
    return parseValue(text, next + 1);
}

unsigned Attribute::parseValue(const String& text, unsigned pos) {
    const std::string_view bytes = text.view();
    const unsigned start = skipBlanks(bytes, pos);
    if (start == String::npos) {
        storage().report(LogCategory::Error, "Attribute", "parse", "invalid attribute value (missing value with =)");
        raise<EXmlAttribute>("EXmlAttribute", sites::kMissingValue);
    }
    unsigned next = String::npos;
    try {
        next = m_value.parse(text, start);
    } catch (const EXmlAttributeValue& error) {
        logCaught(error, sites::kValueCaught);
        raise<EXmlAttribute>("EXmlAttribute", sites::kBadValue);
    }
    next = skipBlanks(bytes, next);
    const bool last = next == String::npos || bytes[next] == '>' || bytes[next] == '/';
    return last ? String::npos : next;
}

String Attribute::toString() const {
    if (!m_hasValue) {
        return getName();
    }
    if (m_value.value().empty() && m_name == "xmlns") {
        return {};
    }
    return getName() + "=" + m_value.toString();
}

}  // namespace tessel::xml
