// SPDX-License-Identifier: Apache-2.0
#include "libs/base/splitter.h"

#include <algorithm>

namespace tessel {

bool Splitter::next() noexcept {
    if (m_pastEnd) {
        return false;
    }
    if (m_position == m_source.length()) {
        m_pastEnd = true;
        m_field = String::null;
        return false;
    }
    // npos + 1 is 0: the first field begins at the first byte.
    const unsigned from = m_position + 1;
    m_position = std::min(separator(from), m_source.length());
    m_field = m_source.range(from, m_position);
    return true;
}

void Splitter::rewind() noexcept {
    m_position = String::npos;
    m_pastEnd = false;
    m_field = String::null;
}

unsigned CharSplitter::separator(unsigned from) const noexcept { return source().find(m_separator, from); }

unsigned FirstOfSplitter::separator(unsigned from) const noexcept { return source().findFirstOf(m_set, from); }

}  // namespace tessel
