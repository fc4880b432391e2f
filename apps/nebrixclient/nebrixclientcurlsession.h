#pragma once

#include "apps/nebrixclient/clientlocalconfiguration.h"
#include "libs/curl/curlwrapper.h"

namespace tessel {

/// The client's one HTTP session: asks the local configuration at every request.
class NebrixClientCurlSession final : public CurlSession {
public:
    /// The configuration must outlive the session.
    explicit NebrixClientCurlSession(const ClientLocalConfiguration& configuration) : m_configuration(configuration) {}

    /// False when the URL's server, host and port exactly as written, is one whose certificate is not checked. User
    /// information does not count, and an international name is the same in both its forms.
    bool verifySSL(const String& url) override;
    /// Always of type none, so that the system's proxy variables apply, with the user's credentials.
    Proxy getProxy(const String& url) override;
    /// Over https only: elsewhere everybody on the way could read the client identifier. Warns when not.
    bool carriesCookies(const String& url) override;
    std::shared_ptr<const tls::PeerCertificate> describeCertificate(const Memory& der, long verifyError) override;

private:
    const ClientLocalConfiguration& m_configuration;
};

}  // namespace tessel
