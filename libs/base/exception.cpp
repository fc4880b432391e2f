// SPDX-License-Identifier: Apache-2.0
#include "libs/base/exception.h"

#include <algorithm>
#include <memory>

#include "libs/base/log.h"
#include "libs/base/numbers.h"

namespace tessel {

const char* LateText::keep(const String& text) const {
    auto copy = std::make_unique<char[]>(text.size() + 1);
    std::copy(text.begin(), text.end(), copy.get());
    const char* first = nullptr;
    if (m_text.compare_exchange_strong(first, copy.get(), std::memory_order_acq_rel, std::memory_order_acquire)) {
        return copy.release();
    }
    return first;
}

Exception::Exception(const String& message, const String& file, int line) : Exception(0, message, file, line) {}

Exception::Exception(int code, const String& message, const String& file, int line)
    : m_message(message), m_file(baseName(file)), m_line(line), m_code(code) {}

Exception::~Exception() = default;

String Exception::toString() const {
    String text = m_message + ":" + m_file + ":" + tessel::toString(m_line);
    if (m_code != 0) {
        text += "(" + tessel::toString(m_code) + ")";
    }
    return text;
}

String Exception::trace(const String& file, int line) const {
    return toString() + " -> " + baseName(file) + ":" + tessel::toString(line);
}

const char* Exception::what() const noexcept {
    if (const char* kept = m_what.get(); kept != nullptr) {
        return kept;
    }
    try {
        String text = toString();
        for (const String* fact : {&m_facts.subject, &m_facts.words}) {
            if (!fact->empty()) {
                text.append(": ", *fact);
            }
        }
        return m_what.keep(text);
    } catch (...) {
        return "tessel::Exception";  // memory has ended
    }
}

void Exception::under(const char* key) noexcept {
    try {
        m_facts.subject =
            m_facts.subject.empty() ? String::copy(key) : String(String::copy(key) + "." + m_facts.subject);
        m_what.clear();
    } catch (...) {
        // Memory has ended: the exception itself is worth more than where it stands.
    }
}

String Exception::baseName(const String& path) {
    unsigned separator = path.rfind('/');
    if (separator == String::npos) {
        separator = path.rfind('\\');
    }
    return separator == String::npos ? path : path.range(separator + 1);
}

void logCaught(const Exception& caught, RaiseSite handler) noexcept {
    try {
        log(LogCategory::Trace, "Exception", "catch", caught.trace(handler.file, handler.line));
    } catch (...) {
        // Memory has ended: the log is what can be spared.
    }
}

}  // namespace tessel
