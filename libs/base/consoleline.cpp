// SPDX-License-Identifier: Apache-2.0
#include "libs/base/consoleline.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>
#include <utility>

#include "libs/base/printable.h"

namespace tessel {

namespace {

constexpr std::array<const char*, kLogCategories> kLabels = {"TRACE", "DEBUG", "ERROR", "ASSERT", "WARNING"};
constexpr std::string_view kCutMark = "...";

/// Cuts to `longest` bytes, the mark included and no UTF-8 sequence torn.
void cut(std::string& text, std::size_t longest) {
    std::size_t end = longest - kCutMark.size();
    for (int moved = 0; moved < 3 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80; ++moved) {
        --end;
    }
    text.resize(end);
    text += kCutMark;
}

}  // namespace

const char* categoryLabel(LogCategory category) noexcept { return kLabels[static_cast<unsigned>(category)]; }

void appendBody(std::string& text, LogCategory category, const String& threadId, const String& className,
                const String& method, const String& message, unsigned longest) {
    const std::array<std::string_view, 8> pieces = {"[",
                                                    threadId.view(),
                                                    "] ",
                                                    categoryLabel(category),
                                                    " ",
                                                    className.view(),
                                                    method.empty() ? std::string_view() : ".",
                                                    method.view()};
    const std::array<std::string_view, 2> rest = {method.empty() ? ": " : " ", message.view()};
    std::size_t length = 0;
    bool plain = true;
    const auto measure = [&](std::string_view piece) {
        length += piece.size();
        plain = plain && isPrintable(piece);
    };
    std::for_each(pieces.begin(), pieces.end(), measure);
    std::for_each(rest.begin(), rest.end(), measure);
    if (plain && length <= longest) [[likely]] {
        text.reserve(text.size() + length + 1);
        const auto append = [&](std::string_view piece) { text.append(piece); };
        std::for_each(pieces.begin(), pieces.end(), append);
        std::for_each(rest.begin(), rest.end(), append);
        return;
    }
    std::string body;
    body.reserve(std::min<std::size_t>(length, longest) + 64);
    const auto append = [&](std::string_view piece) { appendPrintable(body, piece, longest); };
    std::for_each(pieces.begin(), pieces.end(), append);
    std::for_each(rest.begin(), rest.end(), append);
    if (body.size() > longest) {
        cut(body, longest);
    }
    text += body;
}

void LineClock::append(std::string& text) {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    if (now.tv_sec != m_second) {
        std::tm local{};
        ::localtime_r(&now.tv_sec, &local);
        m_text.clear();
        for (const auto& [number, after] : {std::pair(local.tm_mday, '-'),
                                            {local.tm_mon + 1, '-'},
                                            {local.tm_year % 100, ' '},
                                            {local.tm_hour, ':'},
                                            {local.tm_min, ':'},
                                            {local.tm_sec, '.'}}) {
            m_text += static_cast<char>('0' + number / 10);
            m_text += static_cast<char>('0' + number % 10);
            m_text += after;
        }
        m_second = now.tv_sec;
    }
    text += m_text;
    std::array<char, 4> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), now.tv_nsec / 1'000'000).ptr;
    text.append(digits.data(), end);
    text += ' ';
}

}  // namespace tessel
