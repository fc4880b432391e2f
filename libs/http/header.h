// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

#include "libs/base/string.h"
#include "libs/http/errors.h"
#include "libs/http/setcookie.h"

namespace tessel::http {

/// Header names that programs ask for; any other is looked up by its text.
enum class HeaderName { ContentLength, ContentType, Date, Location, RetryAfter, Server, SetCookie };

/// The header lines of one message (RFC 9110, section 5), in the order of their arrival, looked up by name in any case.
///
/// Bounded, since the peer decides what is in it: lines beyond kMaxLines or kMaxBytes are dropped, which is logged
/// once for each header. A look-up costs time in line with the number of lines. Copies share the lines' bytes.
/// Used by one thread at a time.
class Header {
public:
    static constexpr unsigned kMaxLines = 1000;
    static constexpr unsigned kMaxBytes = 256 * 1024;

    /// Adds a raw line "Name: value", with or without its line end; blanks around the value are dropped. The empty
    /// line that ends a header and a line without name or colon are left out. A line that begins with a blank
    /// continues the value of the line before it (RFC 9112, 5.2). The line's bytes are kept, not copied.
    void addLine(const String& line);

    /// The value of the first line of the name; empty when there is none.
    [[nodiscard]] String get(const String& name) const;
    [[nodiscard]] String get(HeaderName name) const;
    [[nodiscard]] Strings getAll(const String& name) const;
    [[nodiscard]] bool has(const String& name) const { return first(name.view()) != nullptr; }
    /// The value of Content-Length. Raises EBadHeader when it is there and is no 64-bit number.
    [[nodiscard]] std::optional<std::uint64_t> contentLength() const;
    /// The cookies of all Set-Cookie lines; those of a wrong form are left out.
    [[nodiscard]] List<SetCookie> cookies() const;

    struct Field {
        String name;
        String value;
    };
    /// All of them, names as they came.
    [[nodiscard]] const List<Field>& fields() const noexcept { return m_fields; }
    [[nodiscard]] unsigned lines() const noexcept { return static_cast<unsigned>(m_fields.size()); }
    /// Lines that the bounds kept out.
    [[nodiscard]] unsigned dropped() const noexcept { return m_dropped; }

private:
    [[nodiscard]] const Field* first(std::string_view name) const noexcept;
    bool admit(unsigned bytes);

    List<Field> m_fields;
    unsigned m_bytes = 0;
    unsigned m_dropped = 0;
    // Whether a continuation line belongs to the last field, or to a line that was left out.
    bool m_lastKept = false;
};

/// The header of an answer: its status line and its header lines.
class ResponseHeader : public Header {
public:
    /// Of an answer that never came: empty status line, code 0.
    ResponseHeader() = default;
    explicit ResponseHeader(const String& statusLine) : m_statusLine(statusLine) {}

    /// With the line end that it arrived with.
    [[nodiscard]] const String& getStatusLine() const noexcept { return m_statusLine; }
    /// The number behind the protocol word ("HTTP/1.1 200 OK" gives 200), 0 without one. Taken from the status line
    /// once and kept.
    [[nodiscard]] int _extractResponseCode() const;
    [[nodiscard]] int getResponseCode() const { return _extractResponseCode(); }

private:
    String m_statusLine;
    mutable int m_responseCode = -1;
};

}  // namespace tessel::http
