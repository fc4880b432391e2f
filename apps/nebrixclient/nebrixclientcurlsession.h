#pragma once

#include <optional>

#include "apps/nebrixclient/clientlocalconfiguration.h"
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
    /// Over https only: elsewhere everybody on the way could read the client identifier. Warns when not.
    bool carriesCookies(const String& url) override;
    std::shared_ptr<const tls::PeerCertificate> describeCertificate(const String& url, const Memory& der,
                                                                    long verifyError) override;

    /// When the request met the certificate that is expected of its server for the first time: its key is from now on
    /// taken as the server's.
    bool retries(const String& url, const tls::PeerCertificate* refused) override;

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
    Mutex m_mutex;
    List<Expected> m_expected;  // guarded by m_mutex; one for each server
};

}  // namespace tessel
