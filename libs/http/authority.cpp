// SPDX-License-Identifier: Apache-2.0
#include "libs/http/authority.h"

#include <arpa/inet.h>
#include <idn2.h>

#include <algorithm>
#include <charconv>
#include <new>

#include "libs/http/uri.h"
#include "libs/http/uripattern.h"

namespace tessel::http {
namespace {

constexpr unsigned kLargestPort = 65535;

bool isAscii(const String& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

/// What libcurl takes for a host too: nothing that would end the authority or be read as something else.
bool namesHost(const String& ascii) {
    static constexpr std::string_view kRefused = " /:#?!@{}[]\\$'\"^`*<>=;,+&()%|~";
    return !ascii.empty() && std::all_of(ascii.begin(), ascii.end(), [](char c) {
        return c > 0x20 && c < 0x7F && kRefused.find(c) == std::string_view::npos;
    });
}

String withoutZone(const String& address) { return address.left('%'); }

bool isIpv6(const String& host) {
    in6_addr address{};
    return host.find('\0') == String::npos && ::inet_pton(AF_INET6, withoutZone(host).clone().str(), &address) == 1;
}

bool isPort(const String& port) {
    unsigned number = 0;
    const auto [end, error] = std::from_chars(port.begin(), port.end(), number);
    return error == std::errc() && end == port.end() && number >= 1 && number <= kLargestPort;
}

/// Empty when it is no name.
String internationalHost(const String& host) {
    if (host.find('\0') != String::npos) {
        return {};
    }
    char* converted = nullptr;
    const auto* const name = reinterpret_cast<const unsigned char*>(host.str());
    const int error =
        idn2_lookup_u8(name, reinterpret_cast<unsigned char**>(&converted), IDN2_NFC_INPUT | IDN2_NONTRANSITIONAL);
    if (error == IDN2_MALLOC) {
        throw std::bad_alloc();
    }
    if (error != IDN2_OK) {
        return {};
    }
    String ascii = String::copy(converted);
    idn2_free(converted);
    return ascii;
}

/// Whether a scheme ends at this position, rather than what might be a part of a password.
bool schemeEndsAt(const String& text, unsigned position) {
    const auto inScheme = [](char c) {
        const char lower = static_cast<char>(c | 0x20);
        return (lower >= 'a' && lower <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
    };
    while (position > 0 && inScheme(text[position - 1])) {
        --position;
    }
    return position == 0 || text[position - 1] == '\'' || text[position - 1] == ' ';
}

}  // namespace

Authority::Authority(const String& text) : m_server(text) {
    if (const unsigned at = text.find('@'); at != String::npos) {
        m_userInformation = text.range(0, at);
        m_server = text.range(at + 1);
    }
    const unsigned close = m_server.starts("[") ? m_server.find(']') : String::npos;
    m_bracketed = close != String::npos && (close + 1 == m_server.length() || m_server[close + 1] == ':');
    if (m_bracketed) {
        m_host = m_server.range(1, close);
        m_port = m_server.range(close + 2);
    } else {
        m_host = m_server.left(':');
        m_port = m_server.range(m_host.length() + 1);
    }
}

bool Authority::valid() const {
    return (m_bracketed ? isIpv6(m_host) : !asciiHost(m_host).empty()) && (m_port.empty() || isPort(m_port));
}

String Authority::getAsciiServer() const {
    if (m_bracketed || !valid()) {
        return m_server;
    }
    return asciiHost(m_host) + m_server.range(m_host.length());
}

String asciiHost(const String& host) {
    if (isIpv6(host)) {
        return host;
    }
    const String decoded = host.find('%') != String::npos ? Uri::decode(host) : host;
    String ascii = isAscii(decoded) ? decoded : internationalHost(decoded);
    return namesHost(ascii) ? ascii : String();
}

String withoutUserInformation(const String& text) {
    const unsigned first = text.find('@');
    if (first == String::npos) {
        return text;
    }
    unsigned from = 0;
    const unsigned scheme = text.find("://");
    const unsigned quote = text.find('\'');
    if (scheme < first && schemeEndsAt(text, scheme)) {
        from = scheme + 3;
    } else if (quote < first) {
        from = quote + 1;
    }
    return text.replaceBetween(from, text.rfind('@') + 1, String());
}

String loggedUrl(const String& url) {
    UriGroups groups;
    if (!matchUri(url, groups)) {
        return withoutUserInformation(url);
    }
    const String authority = url.range(groups.authority.from, groups.authority.to);
    if (authority.empty() && groups.scheme.from == groups.scheme.to) {
        return url;  // a path
    }
    const unsigned at = authority.rfind('@');
    const unsigned server = at == String::npos ? 0 : at + 1;
    return Authority(authority.range(server)).valid()
               ? url.replaceBetween(groups.authority.from, groups.authority.from + server, String())
               : withoutUserInformation(url);
}

}  // namespace tessel::http
