#include "apps/nebrixclient/nebrixclientcurlsession.h"

#include <algorithm>

#include "libs/base/log.h"
#include "libs/http/authority.h"
#include "libs/http/uri.h"
#include "libs/openssl/fingerprint.h"
#include "libs/openssl/peercertificate.h"

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
    m_expected = {server, fingerprint, Memory()};
}

bool NebrixClientCurlSession::recognise(const RequestInfo& refused) {
    const auto& peer = refused.getPeerCertificate();
    Lock lock(m_mutex);
    if (peer == nullptr || !m_expected || !m_expected->key.empty() || !(peer->fingerprint == m_expected->fingerprint)) {
        return false;
    }
    m_expected->key = tls::fingerprintBytes(peer->keyFingerprint);
    return !m_expected->key.empty();
}

std::optional<NebrixClientCurlSession::Expected> NebrixClientCurlSession::expected(
    const http::Authority& authority) const {
    Lock lock(m_mutex);
    return m_expected && sameServer(authority, http::Authority(m_expected->server)) ? m_expected : std::nullopt;
}

}  // namespace tessel
