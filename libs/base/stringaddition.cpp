// SPDX-License-Identifier: Apache-2.0
#include "libs/base/stringaddition.h"

#include <limits>

#include "libs/base/memory.h"
#include "libs/base/memoryblockpool.h"
#include "libs/base/smallcopy.h"
#include "libs/base/stringadditionstore.h"

namespace tessel {

StringAdditionBlock* StringAdditionBlock::create(StringAdditionBlock* last) {
    auto* const block = ::new (StringAdditionStore::take()) StringAdditionBlock;
    if (last != nullptr) {
        last->m_next = block;
    }
    return block;
}

void StringAddition::destroy(StringAdditionBlock* first, unsigned free) noexcept {
    while (first != nullptr) {
        const unsigned used = first->used(free);
        for (unsigned i = 0; i < used; ++i) {
            first->m_parts[i].~String();
        }
        StringAdditionStore::giveBack(std::exchange(first, first->m_next));
    }
}

StringAddition::StringAddition(const StringAddition& other) { add(other); }

StringAddition& StringAddition::operator=(const StringAddition& other) { return *this = StringAddition(other); }

StringAddition& StringAddition::add(const StringAddition& other) {
    if (&other == this) {
        return add(StringAddition(other));
    }
    for (const StringAdditionBlock* block = other.m_chain.first; block != nullptr; block = block->m_next) {
        const unsigned used = block->used(other.m_chain.free);
        for (unsigned i = 0; i < used; ++i) {
            add(block->m_parts[i]);
        }
    }
    return *this;
}

unsigned StringAddition::length() const noexcept {
    TESSEL_ASSERT(m_chain.total < String::npos, "upperSize >= size", sites::kPoolUpperSizeFits);
    return static_cast<unsigned>(m_chain.total);
}

void StringAddition::copyTo(char* place) const noexcept {
    for (const StringAdditionBlock* block = m_chain.first; block != nullptr; block = block->m_next) {
        const unsigned used = block->used(m_chain.free);
        for (unsigned i = 0; i < used; ++i) {
            const String& part = block->m_parts[i];
            copySmall(place, part.array(), part.length());
            place += part.length();
        }
    }
}

void StringAddition::appendTo(String& text) const {
    if (const unsigned total = length(); total != 0) {
        // A part of `text` itself holds its block: the bytes stay where they are while it changes.
        copyTo(text.reserve(total));
        text.grow(total);
    }
}

String::String(const StringAddition& addition) { addition.appendTo(*this); }

StringAddition operator+(String&& left, const StringAddition& right) {
    StringAddition result(std::move(left), String::null);
    return std::move(result.add(right));
}

}  // namespace tessel
