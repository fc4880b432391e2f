// SPDX-License-Identifier: Apache-2.0
#include "libs/xml/attributevalue.h"

#include <algorithm>

#include "libs/xml/scan.h"
#include "libs/xml/xmlerrors.h"

namespace tessel::xml {

namespace {

constexpr std::string_view kDoubleEntity = "&quot;";
constexpr std::string_view kSingleEntity = "&#39;";

/// Copies the text to out with the two entities decoded; out has room for as much. Returns the end.
char* decodeQuotes(std::string_view text, char* out) {
    for (std::size_t at = 0; at < text.size();) {
        if (text[at] == '&' && text.substr(at, kDoubleEntity.size()) == kDoubleEntity) {
            *out++ = '"';
            at += kDoubleEntity.size();
        } else if (text[at] == '&' && text.substr(at, kSingleEntity.size()) == kSingleEntity) {
            *out++ = '\'';
            at += kSingleEntity.size();
        } else {
            *out++ = text[at++];
        }
    }
    return out;
}

}  // namespace

String AttributeValue::getQuoteString() const {
    constexpr const char* kNames[] = {"simple", "double", "no"};
    return kNames[static_cast<unsigned>(m_quote)];
}

void AttributeValue::setQuoteString(const String& text) {
    m_quote = text.equalsNoCase2("double", 6) ? Quote::Double : text == "simple" ? Quote::Simple : Quote::No;
}

unsigned AttributeValue::parse(const String& text, unsigned pos) {
    storage().anchor(text);
    const unsigned start = skipBlanks(text.view(), pos);
    if (start == String::npos) {
        return String::npos;
    }
    if (text[start] == '\'' || text[start] == '"') {
        return parseQuoted(text[start], start);
    }
    m_quote = Quote::No;
    const unsigned end = findClass(text.view(), scan::kValueEnd, start);
    take(start, end);
    return end;
}

unsigned AttributeValue::parseQuoted(char quote, unsigned start) {
    m_quote = quote == '"' ? Quote::Double : Quote::Simple;
    const unsigned end = findByte(storage().text(), quote, start + 1);
    if (end == String::npos) {
        storage().report(LogCategory::Error, "xml.AttributeValue", "parse",
                         "Problem with element: ", storage().text().substr(start));
        raise<EXmlAttributeValue>("EXmlAttributeValue",
                                  quote == '"' ? sites::kOpenDoubleQuote : sites::kOpenSingleQuote);
    }
    take(start + 1, end);
    return end + 1;
}

void AttributeValue::take(unsigned from, unsigned to) {
    m_value = trimmed(storage().text().substr(from, to - from));
    m_position = storage().position(m_value);
    if (m_value.find('&') != Piece::npos) {
        char* place = static_cast<char*>(storage().allocate(m_value.size()));
        m_value = {place, static_cast<std::size_t>(decodeQuotes(m_value, place) - place)};
    }
}

String AttributeValue::toString() const {
    Quote quote = m_quote;
    if (quote == Quote::No && findClass(m_value, scan::kValueEnd | scan::kBlank, 0) != String::npos) {
        quote = Quote::Double;
    }
    const char* mark = quote == Quote::Double ? "\"" : quote == Quote::Simple ? "'" : "";
    String out = String::copy(mark);
    for (const char c : m_value) {
        if (c == '"' && quote != Quote::Simple) {
            out.append(kDoubleEntity.data());
        } else if (c == '\'' && quote != Quote::Double) {
            out.append(kSingleEntity.data());
        } else {
            out.append(1, c);
        }
    }
    return out.append(mark);
}

}  // namespace tessel::xml
