// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/nebrixclientcurlsession.h"

#include <algorithm>

#include "apps/nebrixclient/tlsfiles.h"
#include "libs/base/log.h"
#include "libs/http/authority.h"
#include "libs/http/uri.h"
#include "libs/openssl/fingerprint.h"
#include "libs/openssl/peercertificate.h"

/// Debian's libcurl brings GnuTLS along for protocols that nobody here uses, and GnuTLS prepares itself before main(),
/// which costs each start its time and three quarters of a megabyte. This is how its header has a program refuse that;
/// what does use it prepares it first. Exported, so that it is found.
extern "C" __attribute__((visibility("default"))) int _gnutls_global_init_skip() { return 1; }

namespace tessel {
namespace {

http::Authority authorityOf(const String& url) { return http::Authority(http::Uri::parse(url).getAuthority()); }

bool sameServer(const http::Authority& left, const http::Authority& right) {
    const auto differsOnTheWire = [](const http::Authority& authority) {
        return !(authority.getAsciiServer() == authority.getServer());
    };
    return left.getServer() == right.getServer() ||
           ((differsOnTheWire(left) || differsOnTheWire(right)) && left.getAsciiServer() == right.getAsciiServer());
}

bool excepted(const http::Authority& authority, const List<String>& domains) {
    return !authority.getHost().empty() && std::any_of(domains.begin(), domains.end(), [&](const String& domain) {
        return sameServer(authority, http::Authority(domain));
    });
}

std::optional<TrustedKey> trustedKey(const http::Authority& authority, const List<TrustedKey>& keys) {
    const auto key = std::find_if(keys.begin(), keys.end(), [&](const TrustedKey& trusted) {
        return sameServer(authority, http::Authority(trusted.server));
    });
    return key != keys.end() ? std::optional(*key) : std::nullopt;
}

}  // namespace

bool NebrixClientCurlSession::verifySSL(const String& url) {
    return !excepted(authorityOf(url), m_configuration.getSslCertIgnoreDomains());
}

ServerCheck NebrixClientCurlSession::serverCheck(const String& url) {
    const http::Authority authority = authorityOf(url);
    if (const std::optional<Expected> only = expected(authority)) {
        return {.certificate = false, .key = only->key};
    }
    // Both at one moment: a domain whose key came or went in between would pass unchecked.
    const ServerExceptions exceptions = m_configuration.getServerExceptions();
    ServerCheck check{.certificate = !excepted(authority, exceptions.domains)};
    if (const std::optional<TrustedKey> trusted = trustedKey(authority, exceptions.keys)) {
        check.key = tls::fingerprintBytes(trusted->digest);
    }
    return check;
}

Proxy NebrixClientCurlSession::getProxy(const String& /*url*/) {
    Proxy proxy;
    proxy.setCredentials(m_configuration.getCredentials());
    return proxy;
}

std::vector<ProxyRoute> NebrixClientCurlSession::routes(const String& url) {
    if (const std::optional<ProxyRoute>& managed = m_configuration.managed().route) {
        ProxyRoute route = *managed;
        route.proxy.setCredentials(m_configuration.getCredentials());
        return {route};
    }
    if (ProxySearch::environmentDecides(url)) {
        return {};
    }
    std::vector<ProxyRoute> found = m_search.routes(url, cancelled());
    for (ProxyRoute& route : found) {
        if (route.proxy.getCredentials().getLogin().empty()) {
            route.proxy.setCredentials(m_configuration.getCredentials());
        }
    }
    return found;
}

void NebrixClientCurlSession::took(const String& url, const ProxyRoute& route) {
    if (!m_configuration.managed().route) {
        m_search.prefer(url, route);
    }
    Lock lock(m_mutex);
    if (sameServer(authorityOf(url), http::Authority(m_gateway))) {
        m_gatewayRoute = route;
    }
}

Proxy NebrixClientCurlSession::gatewayProxy() const {
    Lock lock(m_mutex);
    return m_gatewayRoute.proxy;
}

void NebrixClientCurlSession::search(const String& server) {
    const String url = "https://" + server + "/";
    m_search.forget();
    if (!m_configuration.managed().route && !ProxySearch::environmentDecides(url)) {
        m_search.begin(url);
    }
}

void NebrixClientCurlSession::begin(const String& server) {
    const std::shared_ptr<const TlsCredentials> read = readTlsFiles(m_configuration.getTlsFiles());
    Lock lock(m_mutex);
    m_gateway = server;
    m_gatewayRoute = {};
    m_credentials = read;
    m_credentialsForOthers =
        read != nullptr ? std::make_shared<TlsCredentials>(TlsCredentials{.authoritiesPem = read->authoritiesPem})
                        : nullptr;
}

std::shared_ptr<const TlsCredentials> NebrixClientCurlSession::credentials(const String& url) {
    Lock lock(m_mutex);
    return sameServer(authorityOf(url), http::Authority(m_gateway)) ? m_credentials : m_credentialsForOthers;
}

bool NebrixClientCurlSession::carriesCookies(const String& url) {
    const http::Uri uri = http::Uri::parse(url);
    if (uri.getScheme().equalsNoCase2("https", 5)) {
        return true;
    }
    log(LogCategory::Warning, "NebrixClientCurlSession", "carriesCookies",
        String("Not over https, so without cookies: " + authorityOf(http::loggedUrl(url)).getServer()));
    return false;
}

std::shared_ptr<const tls::PeerCertificate> NebrixClientCurlSession::describeCertificate(const String& url,
                                                                                         const Memory& der,
                                                                                         long verifyError) {
    const http::Authority authority = authorityOf(url);
    std::optional<tls::PeerCertificate::Trusted> trusted;
    if (const std::optional<Expected> only = expected(authority)) {
        trusted = {.fingerprint = only->fingerprint};
    } else if (const auto key = trustedKey(authority, m_configuration.getServerExceptions().keys)) {
        trusted = {.keyFingerprint = key->digest, .since = key->since};
    }
    return tls::PeerCertificate::describe(der, verifyError, http::asciiHost(authority.getHost()), trusted);
}

void NebrixClientCurlSession::expect(const String& server, const String& fingerprint) {
    Lock lock(m_mutex);
    if (Expected* const known = find(http::Authority(server)); known != nullptr) {
        *known = {server, fingerprint, Memory()};
    } else {
        m_expected.push_back({server, fingerprint, Memory()});
    }
}

bool NebrixClientCurlSession::retries(const String& url, const tls::PeerCertificate* refused) {
    Lock lock(m_mutex);
    Expected* const only = find(authorityOf(url));
    if (refused == nullptr || only == nullptr || !only->key.empty() || !(refused->fingerprint == only->fingerprint)) {
        return false;
    }
    only->key = tls::fingerprintBytes(refused->keyFingerprint);
    log(LogCategory::Trace, "NebrixClientCurlSession", "retries",
        String(only->server + " has the certificate that was named: its key is accepted from now on"));
    return !only->key.empty();
}

std::optional<NebrixClientCurlSession::Expected> NebrixClientCurlSession::expected(const http::Authority& authority) {
    Lock lock(m_mutex);
    const Expected* const found = find(authority);
    return found != nullptr ? std::optional(*found) : std::nullopt;
}

/// With m_mutex held; null for a server of which nothing particular is expected.
NebrixClientCurlSession::Expected* NebrixClientCurlSession::find(const http::Authority& authority) {
    const auto found = std::find_if(m_expected.begin(), m_expected.end(), [&](const Expected& one) {
        return sameServer(authority, http::Authority(one.server));
    });
    return found != m_expected.end() ? &*found : nullptr;
}

}  // namespace tessel
