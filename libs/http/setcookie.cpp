// SPDX-License-Identifier: Apache-2.0
#include "libs/http/setcookie.h"

#include <algorithm>
#include <charconv>
#include <limits>

#include "libs/http/sites.h"

namespace tessel::http {
namespace {

constexpr char kSession[] = "0";
constexpr char kEnded[] = "1";

bool isControl(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7F;
}

bool safeField(const String& text) { return std::none_of(text.begin(), text.end(), isControl); }

/// A cookie file takes lines that begin with "#" for comments, and libcurl takes one that begins with "Set-Cookie:"
/// for a header.
bool safeDomain(const String& domain) {
    static constexpr char kHeader[] = "set-cookie:";
    return !domain.starts("#") && !domain.startsNoCase2(kHeader, sizeof kHeader - 1);
}

bool isNumber(const String& text) {
    const String digits = text.starts("-") ? text.range(1) : text;
    return !digits.empty() && std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// The number; the nearest one that can be held when it is too large.
long long numberOf(const String& text) {
    long long value = 0;
    if (std::from_chars(text.begin(), text.end(), value).ec == std::errc::result_out_of_range) {
        value = text.starts("-") ? std::numeric_limits<long long>::min() : std::numeric_limits<long long>::max();
    }
    return value;
}

String expiryText(long long seconds) {
    char buffer[24];
    const auto end = std::to_chars(buffer, buffer + sizeof buffer, seconds).ptr;
    return seconds > 0 ? String::copy(buffer, static_cast<unsigned>(end - buffer)) : String(kEnded);
}

}  // namespace

SetCookie SetCookie::parse(const String& headerValue) {
    const String pair = headerValue.left(';');
    SetCookie cookie;
    cookie.m_name = pair.left('=', true).trim();
    cookie.m_value = pair.right('=', true).trim();
    if (cookie.m_name.empty()) {
        raise<EBadHeader>("EBadHeader", sites::kSetCookieForm);
    }
    for (unsigned from = pair.length(); from < headerValue.length();) {
        const unsigned to = std::min(headerValue.find(';', from + 1), headerValue.length());
        const String attribute = headerValue.range(from + 1, to);
        cookie.setAttribute(attribute.left('=').trim(), attribute.right('=', true).trim());
        from = to;
    }
    return cookie;
}

void SetCookie::setAttribute(const String& name, const String& value) {
    const auto is = [&name](std::string_view lower) {
        return name.equalsNoCase2(lower.data(), static_cast<unsigned>(lower.size()));
    };
    if (is("expires")) {
        m_expires = value;
    } else if (is("max-age")) {
        m_maxAge = value;
    } else if (is("domain")) {
        m_domain = value;
    } else if (is("path")) {
        m_path = value;
    } else if (is("secure")) {
        m_secure = true;
    }
}

String SetCookie::toNetscapeFormat() const {
    const String* fields[] = {&m_domain, &m_path, &m_name, &m_value};
    if (m_name.empty() || !safeDomain(m_domain) ||
        !std::all_of(std::begin(fields), std::end(fields), [](const String* field) { return safeField(*field); })) {
        raise<HeaderException>("HeaderException", sites::kSetCookieField);
    }
    return m_domain + "\tFALSE\t" + m_path + (m_secure ? "\tTRUE\t" : "\tFALSE\t") + getNetscapeExpire() + "\t" +
           m_name + "\t" + m_value;
}

String SetCookie::getNetscapeExpire(std::time_t now) const {
    if (isNumber(m_maxAge)) {
        const long long age = numberOf(m_maxAge);
        const long long most = std::numeric_limits<long long>::max() - now;
        return age > 0 ? expiryText(now + std::min(age, most)) : String(kEnded);
    }
    if (isNumber(m_expires)) {
        return m_expires == "0" ? String(kSession) : expiryText(numberOf(m_expires));
    }
    const auto date = parseDate(m_expires);
    return date ? expiryText(*date) : String(kSession);
}

}  // namespace tessel::http
