// SPDX-License-Identifier: Apache-2.0
#include "libs/xml/text.h"

#include "libs/xml/scan.h"

namespace tessel::xml {

unsigned Text::getPosition() const noexcept {
    const std::string_view document = storage().text();
    const bool inside = std::greater_equal<>()(m_text.data(), document.data()) &&
                        std::less<>()(m_text.data(), document.data() + document.size());
    return inside ? storage().position(m_text) : String::npos;
}

unsigned Text::parse(const String& text, unsigned pos) {
    storage().anchor(text);
    const unsigned end = findByte(text.view(), '<', pos);
    m_text = pos < text.length() ? trimmed(text.view().substr(pos, end - pos)) : Piece();
    return end;
}

void Text::toXml(String& out) const { out.append(m_text); }

}  // namespace tessel::xml
