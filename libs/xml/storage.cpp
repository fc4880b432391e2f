// SPDX-License-Identifier: Apache-2.0
#include "libs/xml/storage.h"

#include <algorithm>
#include <cstring>

#include "libs/xml/node.h"
#include "libs/xml/scan.h"

namespace tessel::xml {

namespace {

constexpr std::size_t kSmallestChunk = 1024;
constexpr std::size_t kLargestChunk = 1024 * 1024;

}  // namespace

Storage::Storage(Excerpts excerpts) noexcept : m_excerpts(excerpts) {}

Storage::~Storage() = default;

void Storage::take(const String& text) {
    if (!m_text.empty()) {
        m_earlierTexts.push_back(m_text);
    }
    m_text = text;
    m_commentEnd = {};
    m_looseCommentEnd = {};
    // A tree takes several times its text; the first chunk then holds all of a small document.
    m_nextChunk = std::clamp<std::size_t>(std::size_t{6} * text.length(), kSmallestChunk, kLargestChunk / 4);
}

String Storage::string(Piece piece) const {
    const auto within = [piece](const String& text) {
        return std::greater_equal<>()(piece.data(), text.begin()) && std::less_equal<>()(piece.data(), text.end());
    };
    if (piece.empty()) {
        return {};
    }
    const auto cut = [piece](const String& text) {
        const auto from = static_cast<unsigned>(piece.data() - text.begin());
        return text.range(from, from + static_cast<unsigned>(piece.size()));
    };
    if (within(m_text)) {
        return cut(m_text);
    }
    const auto earlier = std::find_if(m_earlierTexts.begin(), m_earlierTexts.end(), within);
    return earlier != m_earlierTexts.end() ? cut(*earlier) : String::copy(piece);
}

Piece Storage::keep(std::string_view bytes) {
    if (bytes.empty()) {
        return {};
    }
    char* place = static_cast<char*>(allocate(bytes.size()));
    std::memcpy(place, bytes.data(), bytes.size());
    return {place, bytes.size()};
}

Piece Storage::keepLower(std::string_view bytes) {
    if (std::none_of(bytes.begin(), bytes.end(), [](char c) { return isOf(scan::kUpper, c); })) {
        return keep(bytes);
    }
    char* place = static_cast<char*>(allocate(bytes.size()));
    std::transform(bytes.begin(), bytes.end(), place,
                   [](char c) { return isOf(scan::kUpper, c) ? static_cast<char>(c + ('a' - 'A')) : c; });
    return {place, bytes.size()};
}

Piece Storage::keepJoined(std::string_view left, std::string_view right) {
    char* place = static_cast<char*>(allocate(left.size() + right.size()));
    std::memcpy(place, left.data(), left.size());
    std::memcpy(place + left.size(), right.data(), right.size());
    return {place, left.size() + right.size()};
}

void* Storage::allocate(std::size_t size) {
    constexpr std::size_t kAlignment = alignof(std::max_align_t);
    const std::size_t rounded = (size + kAlignment - 1) / kAlignment * kAlignment;
    if (rounded > m_left) {
        grow(rounded);
    }
    char* place = m_free;
    m_free += rounded;
    m_left -= rounded;
    return place;
}

void Storage::grow(std::size_t size) {
    const std::size_t chunk = std::max({size, m_nextChunk, kSmallestChunk});
    m_chunks.push_back(std::unique_ptr<char[]>(new char[chunk]));
    m_free = m_chunks.back().get();
    m_left = chunk;
    m_nextChunk = std::min(2 * chunk, kLargestChunk);
}

void Storage::adopt(std::unique_ptr<Node> node) { m_adopted.push_back(std::move(node)); }

unsigned Storage::findNext(NextFound& known, std::string_view what, unsigned from) noexcept {
    if (known.from > from || (known.at != String::npos && known.at < from)) {
        known = {from, findText(text(), what, from)};
    }
    return known.at;
}

unsigned Storage::findCommentEnd(unsigned from) noexcept { return findNext(m_commentEnd, "-->", from); }

unsigned Storage::findLooseCommentEnd(unsigned from) noexcept { return findNext(m_looseCommentEnd, "-- >", from); }

bool Storage::mayLog() noexcept {
    if (m_linesLeft == 0) {
        return false;
    }
    if (--m_linesLeft == 0) {
        log(LogCategory::Trace, "xml.Storage", "report", "further lines about this document are left out");
        return false;
    }
    return true;
}

void Storage::report(LogCategory category, const char* className, const char* method, const char* line, Piece quoted) {
    if (!mayLog()) {
        return;
    }
    const bool withheld = m_excerpts == Excerpts::Withheld && !quoted.empty();
    log(category, className, method,
        String(line + (withheld ? String("[withheld]") : string(quoted.substr(0, kLongestExcerpt)))));
}

}  // namespace tessel::xml
