// SPDX-License-Identifier: Apache-2.0
// Comparison, search and the pieces that are cut by it.

#include <algorithm>
#include <bitset>
#include <string>

#include "libs/base/ascii.h"
#include "libs/base/string.h"

namespace tessel {

namespace {

/// Whether the receiver's bytes, lowered, are the text's.
bool sameLowered(const char* receiver, const char* text, unsigned length) noexcept {
    return std::equal(receiver, receiver + length, text,
                      [](char left, char right) { return ascii::toLower(left) == right; });
}

unsigned positionIn(const String& text, const void* found) noexcept {
    return found == nullptr ? String::npos : static_cast<unsigned>(static_cast<const char*>(found) - text.array());
}

template <class Matches>
unsigned firstThat(const String& text, unsigned from, Matches matches) noexcept {
    if (from >= text.length()) {
        return String::npos;
    }
    const char* found = std::find_if(text.begin() + from, text.end(), matches);
    return found == text.end() ? String::npos : static_cast<unsigned>(found - text.begin());
}

/// The last occurrence is the first one of the reversed texts; so its search takes linear time as well.
std::size_t rfindLong(std::string_view text, std::string_view searched) {
    const std::string reversedText(text.rbegin(), text.rend());
    const std::string reversed(searched.rbegin(), searched.rend());
    const void* found = ::memmem(reversedText.data(), reversedText.size(), reversed.data(), reversed.size());
    if (found == nullptr) {
        return std::string_view::npos;
    }
    return text.size() - searched.size() -
           static_cast<std::size_t>(static_cast<const char*>(found) - reversedText.data());
}

}  // namespace

bool String::equalsNoCase2(const char* text, unsigned length) const noexcept {
    return m_length == length && sameLowered(m_string, text, length);
}

bool String::equalsNoCase2(std::string_view text) const noexcept {
    return m_length == text.size() && sameLowered(m_string, text.data(), m_length);
}

bool String::starts(const char* text, unsigned from) const noexcept { return starts(std::string_view(text), from); }

bool String::starts(std::string_view text, unsigned from) const noexcept {
    return from <= m_length && view().substr(from).starts_with(text);
}

bool String::startsNoCase2(const char* text, unsigned length, unsigned from) const noexcept {
    return from <= m_length && length <= m_length - from && sameLowered(m_string + from, text, length);
}

bool String::ends(const char* text) const noexcept { return ends(std::string_view(text)); }

bool String::ends(std::string_view text) const noexcept { return view().ends_with(text); }

bool String::endsNoCase2(const char* text, unsigned length) const noexcept {
    return length <= m_length && sameLowered(m_string + (m_length - length), text, length);
}

unsigned String::find(char c, unsigned from) const noexcept {
    return from >= m_length ? npos : positionIn(*this, std::memchr(m_string + from, c, m_length - from));
}

unsigned String::find(const char* text, unsigned from) const noexcept { return find(std::string_view(text), from); }

unsigned String::find(std::string_view text, unsigned from) const noexcept {
    if (text.size() == 1) {
        return find(text.front(), from);
    }
    if (from >= m_length) {
        return npos;
    }
    return positionIn(*this, ::memmem(m_string + from, m_length - from, text.data(), text.size()));
}

unsigned String::rfind(char c) const noexcept { return positionIn(*this, ::memrchr(m_string, c, m_length)); }

unsigned String::rfind(const char* text) const { return rfind(std::string_view(text)); }

unsigned String::rfind(std::string_view text) const {
    if (text.size() > m_length) {
        return npos;
    }
    constexpr std::size_t kShort = 32;
    const std::size_t found = text.size() <= kShort ? view().rfind(text) : rfindLong(view(), text);
    return static_cast<unsigned>(found);
}

unsigned String::findFirstOf(const char* set, unsigned from) const noexcept {
    std::bitset<256> members;
    for (; *set != '\0'; ++set) {
        members.set(static_cast<unsigned char>(*set));
    }
    return firstThat(*this, from, [&members](char c) { return members[static_cast<unsigned char>(c)]; });
}

unsigned String::findNoCase2(const char* text, unsigned length, unsigned from) const {
    return from >= m_length ? npos : lower().find(String(text, length), from);
}

unsigned String::searchSpace(unsigned from) const noexcept { return firstThat(*this, from, ascii::isBlank); }

unsigned String::searchNoSpace(unsigned from) const noexcept {
    return firstThat(*this, from, [](char c) { return !ascii::isBlank(c); });
}

String String::left(char c, bool nullIfMissing) const noexcept {
    const unsigned position = find(c);
    if (position == npos) {
        return nullIfMissing ? null : *this;
    }
    return part(0, position);
}

String String::right(char c, bool nullIfMissing) const noexcept {
    const unsigned position = find(c);
    if (position == npos) {
        return nullIfMissing ? null : *this;
    }
    return part(position + 1, m_length - position - 1);
}

String String::range(unsigned from, unsigned to) const noexcept {
    const unsigned end = std::min(to, m_length);
    return from < end ? part(from, end - from) : null;
}

String String::trim() const noexcept {
    const unsigned from = searchNoSpace();
    if (from == npos) {
        return null;
    }
    unsigned to = m_length;
    while (ascii::isBlank(m_string[to - 1])) {
        --to;
    }
    return part(from, to - from);
}

String String::trim(char c) const noexcept { return trimLeft(c).trimRight(c); }

String String::trimLeft(char c) const noexcept {
    unsigned from = 0;
    while (from < m_length && m_string[from] == c) {
        ++from;
    }
    return part(from, m_length - from);
}

String String::trimRight(char c) const noexcept {
    unsigned to = m_length;
    while (to > 0 && m_string[to - 1] == c) {
        --to;
    }
    return part(0, to);
}

}  // namespace tessel
