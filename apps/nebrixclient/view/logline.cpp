// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/view/logline.h"

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
int labelled(std::string_view text) {
    for (int category = 0; category < kLogCategories; ++category) {
        const std::string_view label = categoryLabel(static_cast<LogCategory>(category));
        if (text.starts_with(label) && text.substr(label.size()).starts_with(' ')) {
            return category;
        }
    }
    return LogLine::kContinuation;
}

/// Where the parts of a line lie.
struct Form {
    std::size_t timeEnd = 0;
    std::size_t threadEnd = 0;
    std::size_t label = 0;
    int category = LogLine::kContinuation;
};

constexpr std::string_view kThreadBegin = " [";
constexpr std::string_view kThreadEnd = "] ";

Form formOf(std::string_view line) {
    Form form;
    form.timeEnd = timeEnd(line);
    if (form.timeEnd == std::string_view::npos || !line.substr(form.timeEnd).starts_with(kThreadBegin)) {
        return form;
    }
    form.threadEnd = line.find(kThreadEnd, form.timeEnd + kThreadBegin.size());
    if (form.threadEnd != std::string_view::npos) {
        form.label = form.threadEnd + kThreadEnd.size();
        form.category = labelled(line.substr(form.label));
    }
    return form;
}

}  // namespace

LogLine LogLine::parse(std::string_view line) {
    LogLine result;
    result.whole = String::copy(line);
    result.text = result.whole;
    const Form form = formOf(line);
    result.category = form.category;
    if (form.category == kContinuation) {
        return result;
    }
    const auto part = [&](std::size_t from, std::size_t to) {
        return result.whole.range(static_cast<unsigned>(from), static_cast<unsigned>(to));
    };
    result.time = part(0, form.timeEnd);
    result.thread = part(form.timeEnd + kThreadBegin.size(), form.threadEnd);
    result.text = part(line.find(' ', form.label) + 1, line.size());
    return result;
}

int LogLine::categoryOf(std::string_view line) { return formOf(line).category; }

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
