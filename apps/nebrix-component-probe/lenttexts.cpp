// SPDX-License-Identifier: Apache-2.0
#include <sys/mman.h>

#include <cstring>
#include <new>

#include "apps/nebrix-component-probe/values.h"

namespace tessel::probe {

String LentTexts::lend(const String& text) {
    const std::size_t length = std::size_t{text.length()} + 1;
    void* const address = ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (address == MAP_FAILED) {
        throw std::bad_alloc();
    }
    std::memcpy(address, text.array(), text.length());
    ::mprotect(address, length, PROT_READ);
    m_lent.push_back({address, length});
    return String(static_cast<const char*>(address));
}

Values LentTexts::lend(const Values& values) {
    Values lent = values;
    for (String* const text : lent.fromGateway()) {
        *text = lend(*text);
    }
    return lent;
}

void LentTexts::takeBack() {
    for (const Page& page : m_lent) {
        ::mprotect(page.address, page.length, PROT_NONE);
    }
    m_lent.clear();
}

}  // namespace tessel::probe
