// SPDX-License-Identifier: Apache-2.0
#pragma once

// Internal to libs/curl: where a URL leads, in libcurl's own understanding of it.

#include <optional>

#include "libs/base/string.h"
#include "libs/http/authority.h"

namespace tessel {

struct CurlTarget {
    String host;  ///< as libcurl's messages and cookies name it: decoded, an IPv6 address short and without brackets
    String port;  ///< the scheme's own where the URL names none
};

/// Empty texts for what libcurl takes for no URL.
CurlTarget targetOf(const String& url);

/// The domain under which libcurl finds the cookies of a host (without brackets or port): as a request to it names it.
/// The text itself when it names no host.
String cookieDomain(const String& host);

/// The authority as the URL writes it.
http::Authority authorityOf(const String& url);

/// The URL as it is asked for: an international host in its "xn--" form, all else as written. Nothing for an http or
/// https URL without a host, or with a port that is none. Other texts are libcurl's to judge.
std::optional<String> wireUrl(const String& url);

[[nodiscard]] bool isHttps(const String& url);

}  // namespace tessel
