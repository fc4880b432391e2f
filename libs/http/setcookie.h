// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ctime>
#include <optional>

#include "libs/base/string.h"
#include "libs/http/errors.h"

namespace tessel::http {

/// One cookie as a server or this program sets it (RFC 6265). All fields are texts as written.
/// A plain value, not synchronised.
class SetCookie {
public:
    SetCookie() = default;
    SetCookie(const String& name, const String& value, const String& domain, const String& path)
        : m_name(name), m_value(value), m_domain(domain), m_path(path) {}

    /// Reads the value of a Set-Cookie header (RFC 6265, 5.2): unknown attributes are skipped, of a repeated one the
    /// last counts. Raises EBadHeader without a "=" or a name before it.
    static SetCookie parse(const String& headerValue);

    [[nodiscard]] const String& getName() const noexcept { return m_name; }
    [[nodiscard]] const String& getValue() const noexcept { return m_value; }
    [[nodiscard]] const String& getDomain() const noexcept { return m_domain; }
    [[nodiscard]] const String& getPath() const noexcept { return m_path; }
    [[nodiscard]] const String& getExpires() const noexcept { return m_expires; }
    [[nodiscard]] const String& getMaxAge() const noexcept { return m_maxAge; }
    [[nodiscard]] bool isSecure() const noexcept { return m_secure; }
    void setName(const String& name) { m_name = name; }
    void setValue(const String& value) { m_value = value; }
    void setDomain(const String& domain) { m_domain = domain; }
    void setPath(const String& path) { m_path = path; }
    void setExpires(const String& expires) { m_expires = expires; }
    void setMaxAge(const String& maxAge) { m_maxAge = maxAge; }
    void setSecure(bool secure) { m_secure = secure; }

    /// The cookie as one line of a Netscape cookie file, without line end: domain, "FALSE" (never for subdomains),
    /// path, "TRUE" if secure else "FALSE", expiry, name and value, a tab between each two.
    /// Raises HeaderException when the line would be read as something else than this cookie: a control byte in any
    /// field, an empty name, or a domain that begins like a comment or like a header.
    [[nodiscard]] String toNetscapeFormat() const;

    /// The expiry of that line: seconds since 1970 from "max-age" (which wins, counted from `now`) or from "expires"
    /// (a cookie date, or such a number already); "0" for a cookie that ends with the session, which is also what an
    /// unreadable date gives; "1" for one that has ended.
    [[nodiscard]] String getNetscapeExpire(std::time_t now = std::time(nullptr)) const;

    /// Seconds since 1970 of a cookie date (RFC 6265, 5.1.1), or nothing.
    static std::optional<long long> parseDate(const String& text);

private:
    void setAttribute(const String& name, const String& value);

    String m_name;
    String m_value;
    String m_domain;
    String m_path;
    String m_expires;
    String m_maxAge;
    bool m_secure = false;
};

}  // namespace tessel::http
