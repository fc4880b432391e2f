#include "libs/base/stringaddition.h"

#include <limits>

#include "libs/base/memory.h"
#include "libs/base/memoryblockpool.h"
#include "libs/base/smallcopy.h"
#include "libs/base/stringadditionstore.h"

namespace tessel {

StringAdditionBlock* StringAdditionBlock::create() { return ::new (StringAdditionStore::take()) StringAdditionBlock; }

void StringAdditionBlock::destroy(StringAdditionBlock* chain) noexcept {
    while (chain != nullptr) {
        for (unsigned i = 0; i < chain->m_used; ++i) {
            chain->m_parts[i].~String();
        }
        StringAdditionBlock* next = chain->m_next;
        StringAdditionStore::giveBack(chain);
        chain = next;
    }
}

StringAddition::StringAddition(const StringAddition& other) { add(other); }

StringAddition& StringAddition::operator=(const StringAddition& other) { return *this = StringAddition(other); }

void StringAddition::link() {
    StringAdditionBlock* block = StringAdditionBlock::create();
    if (m_first == nullptr) {
        m_first = block;
    } else {
        m_first->m_last->m_next = block;
        m_first->m_last = block;
    }
}

StringAddition& StringAddition::add(const StringAddition& other) {
    if (other.m_first == nullptr) {
        return *this;
    }
    // The end is fixed beforehand, so that a builder can be added to itself.
    const StringAdditionBlock* const last = other.m_first->m_last;
    const unsigned lastUsed = last->m_used;
    for (const StringAdditionBlock* block = other.m_first; block != last; block = block->m_next) {
        for (const String& part : block->m_parts) {
            add(part);
        }
    }
    for (unsigned i = 0; i < lastUsed; ++i) {
        add(last->m_parts[i]);
    }
    return *this;
}

unsigned StringAddition::length() const noexcept {
    const unsigned long total = m_first == nullptr ? 0 : m_first->m_total;
    TESSEL_ASSERT(total < String::npos, "upperSize >= size", sites::kPoolUpperSizeFits);
    return static_cast<unsigned>(total);
}

void StringAddition::copyTo(char* place) const noexcept {
    for (const StringAdditionBlock* block = m_first; block != nullptr; block = block->m_next) {
        for (unsigned i = 0; i < block->m_used; ++i) {
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
