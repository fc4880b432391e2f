#include "libs/base/consoleline.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

namespace tessel {

namespace {

constexpr std::array<const char*, kLogCategories> kLabels = {"TRACE", "DEBUG", "ERROR", "ASSERT", "WARNING"};
constexpr std::string_view kCutMark = "...";

constexpr bool isControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }

bool hasControl(std::string_view text) noexcept {
    // Eight bytes at a time; a byte may be taken for a control byte wrongly only above one that is.
    constexpr std::uint64_t kOnes = 0x0101010101010101;
    std::uint64_t found = 0;
    while (text.size() >= sizeof(std::uint64_t)) {
        std::uint64_t bytes = 0;
        std::memcpy(&bytes, text.data(), sizeof bytes);
        const std::uint64_t deleted = bytes ^ (kOnes * 0x7f);
        found |= ((bytes - kOnes * 0x20) & ~bytes) | ((deleted - kOnes) & ~deleted);
        text.remove_prefix(sizeof bytes);
    }
    return (found & (kOnes * 0x80)) != 0 || std::any_of(text.begin(), text.end(), isControl);
}

void appendEscaped(std::string& text, std::string_view piece, std::size_t longest) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    for (const char c : piece) {
        if (text.size() > longest) {
            return;
        }
        if (isControl(c)) {
            text += "\\x";
            text += kDigits[static_cast<unsigned char>(c) >> 4U];
            text += kDigits[static_cast<unsigned char>(c) & 15U];
        } else {
            text += c;
        }
    }
}

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
        plain = plain && !hasControl(piece);
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
    const auto append = [&](std::string_view piece) { appendEscaped(body, piece, longest); };
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
