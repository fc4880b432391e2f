#include "apps/nebrixclient/view/logline.h"

#include <algorithm>

#include "libs/base/consoleline.h"

namespace tessel::view {

namespace {

constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// The end of "dd-mm-yy HH:MM:SS.m", or npos where the line does not begin so.
std::size_t timeEnd(std::string_view line) {
    constexpr std::string_view kForm = "dd-dd-dd dd:dd:dd.d";
    constexpr std::size_t kMoreDigits = 2;
    if (line.size() < kForm.size()) {
        return std::string_view::npos;
    }
    for (std::size_t i = 0; i < kForm.size(); ++i) {
        if (kForm[i] == 'd' ? !isDigit(line[i]) : line[i] != kForm[i]) {
            return std::string_view::npos;
        }
    }
    std::size_t end = kForm.size();
    while (end < line.size() && end < kForm.size() + kMoreDigits && isDigit(line[end])) {
        ++end;
    }
    return end;
}

/// The category whose label and a blank stand at the beginning.
int categoryOf(std::string_view text) {
    for (int category = 0; category < kLogCategories; ++category) {
        const std::string_view label = categoryLabel(static_cast<LogCategory>(category));
        if (text.starts_with(label) && text.substr(label.size()).starts_with(' ')) {
            return category;
        }
    }
    return LogLine::kContinuation;
}

}  // namespace

LogLine LogLine::parse(std::string_view line) {
    constexpr std::string_view kThreadBegin = " [";
    constexpr std::string_view kThreadEnd = "] ";
    LogLine result;
    result.whole = String::copy(line);
    result.text = result.whole;
    const std::size_t time = timeEnd(line);
    if (time == std::string_view::npos || !line.substr(time).starts_with(kThreadBegin)) {
        return result;
    }
    const std::size_t thread = time + kThreadBegin.size();
    const std::size_t threadEnd = line.find(kThreadEnd, thread);
    if (threadEnd == std::string_view::npos) {
        return result;
    }
    const std::size_t label = threadEnd + kThreadEnd.size();
    result.category = categoryOf(line.substr(label));
    if (result.category == kContinuation) {
        return result;
    }
    const auto part = [&](std::size_t from, std::size_t to) {
        return result.whole.range(static_cast<unsigned>(from), static_cast<unsigned>(to));
    };
    result.time = part(0, time);
    result.thread = part(thread, threadEnd);
    result.text = part(line.find(' ', label) + 1, line.size());
    return result;
}

void LogFilter::setLines(std::vector<LogLine> lines) {
    m_lines = std::move(lines);
    choose();
}

void LogFilter::setCategory(int category) {
    m_category = category;
    choose();
}

void LogFilter::choose() {
    m_shown.clear();
    int category = LogLine::kContinuation;
    for (std::size_t i = 0; i < m_lines.size(); ++i) {
        if (m_lines[i].category != LogLine::kContinuation) {
            category = m_lines[i].category;
        }
        if (m_category == kAllCategories || category == m_category) {
            m_shown.push_back(i);
        }
    }
}

std::optional<std::size_t> LogFilter::find(const String& text, std::size_t from, bool wrap) const {
    if (text.empty()) {
        return std::nullopt;
    }
    const String searched = text.lower();
    const std::size_t start = std::min(from, size());
    const auto search = [&](std::size_t begin, std::size_t end) -> std::optional<std::size_t> {
        for (std::size_t i = begin; i < end; ++i) {
            if (line(i).whole.findNoCase2(searched.array(), searched.length()) != String::npos) {
                return i;
            }
        }
        return std::nullopt;
    };
    const std::optional<std::size_t> found = search(start, size());
    return found.has_value() || !wrap ? found : search(0, start);
}

String asText(const std::vector<LogLine>& lines) {
    std::size_t length = 0;
    for (const LogLine& line : lines) {
        length += line.whole.length() + std::size_t{1};
    }
    String text;
    text.reserve(static_cast<unsigned>(length));
    for (const LogLine& line : lines) {
        text.append(line.whole, '\n');
    }
    return text;
}

}  // namespace tessel::view
