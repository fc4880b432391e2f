#include "apps/nebrixclient/nebrixclientcurlsession.h"

#include <algorithm>

#include "libs/base/log.h"
#include "libs/http/authority.h"
#include "libs/http/uri.h"
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

}  // namespace

bool NebrixClientCurlSession::verifySSL(const String& url) {
    const http::Authority authority = authorityOf(url);
    const List<String> ignored = m_configuration.getSslCertIgnoreDomains();
    return authority.getHost().empty() || std::none_of(ignored.begin(), ignored.end(), [&](const String& domain) {
               return sameServer(authority, http::Authority(domain));
           });
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

std::shared_ptr<const tls::PeerCertificate> NebrixClientCurlSession::describeCertificate(const Memory& der,
                                                                                         long verifyError) {
    return tls::PeerCertificate::describe(der, verifyError);
}

}  // namespace tessel
