// SPDX-License-Identifier: Apache-2.0
#include "libs/curl/curlurl.h"

#include <curl/curl.h>

#include <memory>

#include "libs/http/uripattern.h"

namespace tessel {
namespace {

struct Free {
    void operator()(CURLU* url) const noexcept { curl_url_cleanup(url); }
    void operator()(char* text) const noexcept { curl_free(text); }
};

String part(CURLU* url, CURLUPart what, unsigned flags) {
    char* text = nullptr;
    curl_url_get(url, what, &text, flags);
    const std::unique_ptr<char, Free> owned(text);
    return text != nullptr ? String::copy(text) : String();
}

bool is(const String& scheme, const char* name) { return scheme.equalsNoCase2(String(name)); }

}  // namespace

CurlTarget targetOf(const String& url) {
    const std::unique_ptr<CURLU, Free> parsed(curl_url());
    const String terminated = url;
    if (parsed == nullptr || curl_url_set(parsed.get(), CURLUPART_URL, terminated.str(), 0) != CURLUE_OK) {
        return {};
    }
    const String host = part(parsed.get(), CURLUPART_HOST, 0);
    return {host.starts("[") ? host.range(1, host.length() - 1) : host,
            part(parsed.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT)};
}

String cookieDomain(const String& host) {
    const String ascii = http::asciiHost(host);
    const bool address = ascii.find(':') != String::npos;
    const String domain = targetOf("https://" + (address ? String("[" + ascii + "]") : ascii) + "/").host;
    return domain.empty() ? host : domain;
}

http::Authority authorityOf(const String& url) {
    http::UriGroups parts{};
    return http::matchUri(url, parts) ? http::Authority(url.range(parts.authority.from, parts.authority.to))
                                      : http::Authority();
}

std::optional<String> wireUrl(const String& url) {
    http::UriGroups parts{};
    if (!http::matchUri(url, parts)) {
        return url;
    }
    const String scheme = url.range(parts.scheme.from, parts.scheme.to);
    if (!is(scheme, "http") && !is(scheme, "https")) {
        return url;
    }
    const http::Authority authority(url.range(parts.authority.from, parts.authority.to));
    if (!authority.valid()) {
        return std::nullopt;
    }
    const unsigned server = parts.authority.to - authority.getServer().length();
    return url.replaceBetween(server, parts.authority.to, authority.getAsciiServer());
}

bool isHttps(const String& url) { return url.startsNoCase2("https://", 8); }

}  // namespace tessel
