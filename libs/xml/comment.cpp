// SPDX-License-Identifier: Apache-2.0
#include "libs/xml/comment.h"

#include "libs/xml/scan.h"
#include "libs/xml/xmlerrors.h"

namespace tessel::xml {

unsigned Comment::parse(const String& text, unsigned pos) {
    storage().anchor(text);
    unsigned end = 0;
    if (!tryParse(pos, end)) {
        raise<EXmlComment>("EXmlComment", sites::kOpenComment);
    }
    return end;
}

bool Comment::tryParse(unsigned pos, unsigned& end) {
    const std::string_view text = storage().text();
    const unsigned start = startsAt(text, "<!--", pos) ? pos + 4 : pos;
    unsigned delimiter = 3;
    unsigned stop = storage().findCommentEnd(start);
    if (stop == String::npos) {
        delimiter = 4;
        stop = storage().findLooseCommentEnd(start);
    }
    if (stop == String::npos) {
        storage().report(LogCategory::Trace, "xml.Comment", "parse",
                         "comment not closed: ", start < text.size() ? text.substr(start) : Piece());
        return false;
    }
    m_text = text.substr(start, stop - start);
    end = stop + delimiter;
    return true;
}

void Comment::toXml(String& out) const { out.append("<!--").append(m_text).append("-->"); }

}  // namespace tessel::xml
