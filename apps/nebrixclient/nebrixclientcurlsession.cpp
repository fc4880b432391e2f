#include "apps/nebrixclient/nebrixclientcurlsession.h"

#include <algorithm>

#include "libs/http/uri.h"

namespace tessel {

bool NebrixClientCurlSession::verifySSL(const String& url) {
    const String authority = http::Uri::parse(url).getAuthority();
    const List<String> ignored = m_configuration.getSslCertIgnoreDomains();
    return std::find(ignored.begin(), ignored.end(), authority) == ignored.end();
}

Proxy NebrixClientCurlSession::getProxy(const String& /*url*/) {
    Proxy proxy;
    proxy.setCredentials(m_configuration.getCredentials());
    return proxy;
}

}  // namespace tessel
