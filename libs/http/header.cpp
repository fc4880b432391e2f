// SPDX-License-Identifier: Apache-2.0
#include "libs/http/header.h"

#include <charconv>

#include "libs/base/log.h"
#include "libs/http/sites.h"

namespace tessel::http {
namespace {

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

bool sameName(std::string_view left, std::string_view right) {
    if (left.size() != right.size()) {
        return false;
    }
    for (std::size_t i = 0; i < left.size(); ++i) {
        if (lower(left[i]) != lower(right[i])) {
            return false;
        }
    }
    return true;
}

const char* textOf(HeaderName name) {
    switch (name) {
        case HeaderName::ContentLength:
            return "Content-Length";
        case HeaderName::ContentType:
            return "Content-Type";
        case HeaderName::Date:
            return "Date";
        case HeaderName::Location:
            return "Location";
        case HeaderName::RetryAfter:
            return "Retry-After";
        case HeaderName::Server:
            return "Server";
        case HeaderName::SetCookie:
            return "Set-Cookie";
    }
    return "";
}

}  // namespace

void Header::addLine(const String& line) {
    const String text = line.trim();
    if (text.empty()) {
        m_lastKept = false;
        return;
    }
    const bool continuation = line[0] == ' ' || line[0] == '\t';
    if (continuation) {
        if (m_lastKept && admit(text.length() + 1)) {
            m_fields.back().value.append(" ", 1).append(text);
        }
        return;
    }
    const String name = text.left(':', true);
    m_lastKept = !name.trim().empty() && admit(text.length());
    if (m_lastKept) {
        m_fields.push_back({name.trim(), text.right(':').trim()});
    }
}

bool Header::admit(unsigned bytes) {
    if (lines() < kMaxLines && bytes <= kMaxBytes - m_bytes) {
        m_bytes += bytes;
        return true;
    }
    if (m_dropped++ == 0) {
        log(LogCategory::Warning, "Header", "addLine", "Header too long, the rest of it is dropped");
    }
    return false;
}

const Header::Field* Header::first(std::string_view name) const noexcept {
    for (const Field& field : m_fields) {
        if (sameName(field.name.view(), name)) {
            return &field;
        }
    }
    return nullptr;
}

String Header::get(const String& name) const {
    const Field* field = first(name.view());
    return field != nullptr ? field->value : String();
}

String Header::get(HeaderName name) const { return get(String(textOf(name))); }

Strings Header::getAll(const String& name) const {
    Strings values;
    for (const Field& field : m_fields) {
        if (sameName(field.name.view(), name.view())) {
            values.push_back(field.value);
        }
    }
    return values;
}

std::optional<std::uint64_t> Header::contentLength() const {
    const Field* field = first(textOf(HeaderName::ContentLength));
    if (field == nullptr) {
        return std::nullopt;
    }
    std::uint64_t length = 0;
    const auto [end, error] = std::from_chars(field->value.begin(), field->value.end(), length);
    if (error != std::errc() || end != field->value.end()) {
        raise<EBadHeader>("EBadHeader", sites::kContentLength);
    }
    return length;
}

List<SetCookie> Header::cookies() const {
    List<SetCookie> cookies;
    for (const String& value : getAll(textOf(HeaderName::SetCookie))) {
        try {
            cookies.push_back(SetCookie::parse(value));
        } catch (const EBadHeader&) {
            // A user agent ignores such a line as a whole (RFC 6265, 5.2).
        }
    }
    return cookies;
}

int ResponseHeader::_extractResponseCode() const {
    if (m_responseCode < 0) {
        m_responseCode = 0;
        const unsigned word = m_statusLine.find(' ');
        const String rest = word != String::npos ? m_statusLine.range(word).trim() : String();
        // Anything but digits, a sign too, ends the number; one that does not fit is none.
        if (!rest.empty() && rest[0] != '-') {
            std::from_chars(rest.begin(), rest.end(), m_responseCode);
        }
    }
    return m_responseCode;
}

}  // namespace tessel::http
