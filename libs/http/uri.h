// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <map>

#include "libs/base/string.h"
#include "libs/http/errors.h"

namespace tessel::http {

/// A URI in its five parts (RFC 3986, appendix B), with the query as an ordered set of parameters.
///
/// Nothing is percent-decoded or encoded on the way in or out: parts are kept as written, so that parsing and
/// rebuilding gives back the text, except that a repeated parameter keeps its first place and its last value and
/// that an empty query, fragment or authority loses its delimiter.
///
/// Representation: the parsed text and where its parts lie in it, so that parsing costs little more than finding them;
/// a part becomes a String (a view) when it is asked for. A copy copies no bytes of the text. The query is split when
/// a parameter is first asked for, also by a const operation: one value must not be used on two threads at once, not
/// even for reading.
class Uri {
public:
    /// Longer texts are refused, so that a hostile one costs little.
    static constexpr unsigned kMaxLength = 1024 * 1024;

    Uri() = default;
    /// Splits the text; any bytes are allowed, NUL and bytes that are no UTF-8 included. Raises EUri, after logging
    /// "Invalid uri: " and the text without user information, when the fragment holds a line feed (the only text the
    /// pattern does not match) or the text is longer than kMaxLength (then only its beginning is logged).
    static Uri parse(const String& text);

    [[nodiscard]] String getScheme() const noexcept { return partText(m_scheme); }
    [[nodiscard]] String getAuthority() const noexcept { return partText(m_authority); }
    [[nodiscard]] String getPath() const noexcept { return partText(m_path); }
    [[nodiscard]] String getFragment() const noexcept { return partText(m_fragment); }
    void setScheme(const String& scheme) { replacePart(m_scheme, scheme); }
    void setAuthority(const String& authority) { replacePart(m_authority, authority); }
    void setPath(const String& path) { replacePart(m_path, path); }
    void setFragment(const String& fragment) { replacePart(m_fragment, fragment); }

    /// Replaces the value, or appends a parameter of a new name. Neither is encoded: see encode().
    void setParameter(const String& name, const String& value);
    /// The value; empty when there is no such parameter.
    [[nodiscard]] String getParameter(const String& name) const;
    [[nodiscard]] bool hasParameter(const String& name) const;
    void delParameter(const String& name);
    /// The names in order of their first appearance.
    [[nodiscard]] const List<String>& getParameterNames() const;

    /// The parameters joined with "&"; one with an empty value is its bare name. Here as below, a text beyond
    /// String::kMaxLength aborts.
    [[nodiscard]] String getQuery() const;
    /// The whole text again.
    [[nodiscard]] String getFullUri() const;

    /// Percent-encodes each byte that is neither unreserved (RFC 3986, 2.3) nor in `keep`, as "%" and two upper-case
    /// hexadecimal digits; bytes in `drop` are left out, also those that are in `keep` as well.
    static String encode(const String& text);
    static String encode(const String& text, const String& keep, const String& drop);
    /// Undoes encode(); a "%" that no two hexadecimal digits follow stays as it is.
    static String decode(const String& text);

private:
    using Parameters = std::map<String, String>;

    /// A stretch of the parsed text, or the text of that number in m_replacements.
    struct Part {
        static constexpr unsigned kReplaced = String::npos;
        unsigned from = 0;
        unsigned toOrNumber = 0;
    };

    [[nodiscard]] String partText(const Part& part) const noexcept {
        return part.from == Part::kReplaced ? m_replacements[part.toOrNumber]
                                            : m_text.range(part.from, part.toOrNumber);
    }
    [[nodiscard]] std::string_view partView(const Part& part) const noexcept;
    void replacePart(Part& part, const String& text);
    void splitQuery() const;
    void putParameter(const String& name, const String& value) const;
    [[nodiscard]] std::size_t queryLength() const;
    // Writes queryLength() bytes and returns the place behind them.
    char* putQuery(char* to) const;

    String m_text;
    Part m_scheme;
    Part m_authority;
    Part m_path;
    Part m_fragment;
    List<String> m_replacements;
    // Where the query lies that is not yet split; an empty stretch when it is. Invariant: m_names holds each key of
    // m_parameters once.
    mutable unsigned m_queryFrom = 0;
    mutable unsigned m_queryTo = 0;
    mutable List<String> m_names;
    mutable Parameters m_parameters;
};

}  // namespace tessel::http
