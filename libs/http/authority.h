// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/string.h"

namespace tessel::http {

/// The authority of a URI taken apart (RFC 3986, 3.2): the one place that knows what a server's host is.
///
/// It is split at its first "@"; what follows is the server: the host, up to the first ":" that is not inside the
/// brackets of an IPv6 address, and the port. Any text is accepted and kept as written; valid() says whether it names
/// a server. A plain value whose texts share the bytes of the one it was made from.
class Authority {
public:
    Authority() = default;
    /// Takes what Uri::getAuthority() gives, with user information or without.
    explicit Authority(const String& text);

    /// What stands in front of the "@", such as a client identifier: a secret. Empty without one.
    [[nodiscard]] const String& getUserInformation() const noexcept { return m_userInformation; }
    /// Host and port, as written.
    [[nodiscard]] const String& getServer() const noexcept { return m_server; }
    /// The host as written, an IPv6 address without its brackets: "gw.example", "10.0.0.1", "::1".
    [[nodiscard]] const String& getHost() const noexcept { return m_host; }
    /// As written; empty where the scheme's own port counts.
    [[nodiscard]] const String& getPort() const noexcept { return m_port; }

    /// Whether there is a host that a name server or a network can be asked for, and the port, if any, is 1 to 65535.
    [[nodiscard]] bool valid() const;
    /// The server with its host as asciiHost() gives it; as written where valid() is false.
    [[nodiscard]] String getAsciiServer() const;

private:
    String m_userInformation;
    String m_server;
    String m_host;
    String m_port;
    bool m_bracketed = false;
};

/// A host (without brackets or port) as networks know it: percent-encoded bytes decoded, an international name in its
/// "xn--" form (UTS #46, not transitional; RFC 5891), anything else as written. Empty for a text that names no host.
/// The locale does not matter.
String asciiHost(const String& host);

/// A URI's text, or a sentence that quotes one, without its user information, for logs: what stands in front of the
/// last "@", back to the "//" behind the scheme, else to the opening quote, else to the beginning. Made for texts that
/// could not be understood: takes rather too much than too little.
String withoutUserInformation(const String& text);

/// A URL as logs show it: without the user information of its authority, all else as written, an "@" of the path too.
/// Where its authority names no server it is taken for a text that could not be understood.
String loggedUrl(const String& url);

}  // namespace tessel::http
