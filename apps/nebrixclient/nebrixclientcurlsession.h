// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "apps/nebrixclient/clientlocalconfiguration.h"
#include "apps/nebrixclient/proxysearch.h"
#include "libs/base/mutex.h"
#include "libs/curl/curlwrapper.h"

namespace tessel {

namespace http {
class Authority;
}

/// The client's one HTTP session: asks the local configuration at every request.
class NebrixClientCurlSession final : public CurlSession {
public:
    /// The configuration must outlive the session.
    explicit NebrixClientCurlSession(const ClientLocalConfiguration& configuration) : m_configuration(configuration) {}

    /// False when the URL's server, host and port exactly as written, is one whose certificate is not checked. User
    /// information does not count, and an international name is the same in both its forms.
    bool verifySSL(const String& url) override;
    /// As verifySSL() says; a server that has a trusted key must show that one, and nothing else counts.
    ServerCheck serverCheck(const String& url) override;
    /// Always of type none, so that the system's proxy variables apply, with the user's credentials.
    Proxy getProxy(const String& url) override;
    /// The managed one; else the desktop's, unless the environment names a proxy, which then holds.
    std::vector<ProxyRoute> routes(const String& url) override;
    void took(const String& url, const ProxyRoute& route) override;
    /// What begin() has read: the authorities for every host, the client's certificate for the gateway alone.
    std::shared_ptr<const TlsCredentials> credentials(const String& url) override;
    /// Over https only: elsewhere everybody on the way could read the client identifier. Warns when not.
    bool carriesCookies(const String& url) override;
    std::shared_ptr<const tls::PeerCertificate> describeCertificate(const String& url, const Memory& der,
                                                                    long verifyError) override;

    /// When the request met the certificate that is expected of its server for the first time: its key is from now on
    /// taken as the server's.
    bool retries(const String& url, const tls::PeerCertificate* refused) override;

    /// For a new attempt with this gateway (host and port): begins to search the way to it, and returns at once.
    void search(const String& server);
    /// Reads the files that its connections need. Raises ESettingsFile.
    void begin(const String& server);
    /// The proxy that the last request to the gateway took: of type none where there was none, or the environment's,
    /// and without credentials where the way has none of its own.
    [[nodiscard]] Proxy gatewayProxy() const;

    /// While this object lives, the server (host and port as its URLs write them) must have the certificate with this
    /// SHA-256 fingerprint (lower-case hexadecimal), whatever the configuration and issuers say: nothing is sent to it
    /// before it has shown that one.
    void expect(const String& server, const String& fingerprint);

private:
    struct Expected {
        String server;
        String fingerprint;
        Memory key;  // the SHA-256 digest; empty, which fits none, until it is known
    };

    std::optional<Expected> expected(const http::Authority& authority);
    Expected* find(const http::Authority& authority);

    const ClientLocalConfiguration& m_configuration;
    ProxySearch m_search;  // synchronises itself
    mutable Mutex m_mutex;
    // Guarded by m_mutex.
    List<Expected> m_expected;  // one for each server
    String m_gateway;
    ProxyRoute m_gatewayRoute;
    std::shared_ptr<const TlsCredentials> m_credentials;  // the gateway's
    std::shared_ptr<const TlsCredentials> m_credentialsForOthers;
};

}  // namespace tessel
