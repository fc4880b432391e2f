// SPDX-License-Identifier: Apache-2.0
// Changes that give a new string.

#include <algorithm>

#include "libs/base/ascii.h"
#include "libs/base/string.h"

namespace tessel {

/// A string of the same length whose bytes rewrite(from, to, place) has written.
template <class Rewrite>
String String::rewritten(Rewrite rewrite) const {
    String result;
    if (m_length != 0) {
        rewrite(begin(), end(), result.reserve(m_length));
        result.grow(m_length);
    }
    return result;
}

String String::upper() const {
    return rewritten(
        [](const char* from, const char* to, char* place) { std::transform(from, to, place, ascii::toUpper); });
}

String String::lower() const {
    return rewritten(
        [](const char* from, const char* to, char* place) { std::transform(from, to, place, ascii::toLower); });
}

String String::sort() const {
    return rewritten([](const char* from, const char* to, char* place) {
        std::sort(place, std::copy(from, to, place), [](char left, char right) {
            return static_cast<unsigned char>(left) < static_cast<unsigned char>(right);
        });
    });
}

String String::replace(char from, char to) const {
    if (find(from) == npos) {
        return *this;
    }
    return rewritten([from, to](const char* begin, const char* end, char* place) {
        std::replace_copy(begin, end, place, from, to);
    });
}

String String::replace(const char* from, const char* to) const { return replace(String(from), String(to)); }

String String::replace(const String& from, const String& to) const { return replaceAll(*this, from, to); }

String String::replaceNoCase2(const String& from, const String& to) const { return replaceAll(lower(), from, to); }

/// Replaces what is found in `searched`, a text of this string's length, at the same places in this string. Two
/// passes: the first one counts, so that one allocation does.
String String::replaceAll(const String& searched, const String& from, const String& to) const {
    List<unsigned> places;
    if (!from.empty()) {
        for (unsigned at = searched.find(from); at != npos; at = searched.find(from, at + from.m_length)) {
            places.push_back(at);
        }
    }
    if (places.empty()) {
        return *this;
    }
    const unsigned length = total(m_length - places.size() * from.m_length + places.size() * to.m_length);
    String result;
    char* place = result.reserve(length);
    const char* source = begin();
    for (const unsigned at : places) {
        place = std::copy(source, begin() + at, place);
        place = std::copy(to.begin(), to.end(), place);
        source = begin() + at + from.m_length;
    }
    std::copy(source, end(), place);
    result.grow(length);
    return result;
}

String String::replaceBetween(unsigned from, unsigned to, const String& text) const {
    const unsigned first = std::min(from, m_length);
    const unsigned last = std::max(first, std::min(to, m_length));
    return part(0, first) + text + part(last, m_length - last);
}

String String::remove(char c) const {
    String result;
    if (m_length != 0) {
        char* place = result.reserve(m_length);
        result.grow(static_cast<unsigned>(std::remove_copy(begin(), end(), place, c) - place));
    }
    return result;
}

String String::remove(const char* text) const { return remove(String(text)); }

String String::remove(const String& text) const { return replaceAll(*this, text, null); }

}  // namespace tessel
