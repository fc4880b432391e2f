#pragma once

#include "apps/nebrixclient/clientlocalconfiguration.h"
#include "libs/curl/curlwrapper.h"

namespace tessel {

/// The client's one HTTP session: asks the local configuration at every request.
class NebrixClientCurlSession final : public CurlSession {
public:
    /// The configuration must outlive the session.
    explicit NebrixClientCurlSession(const ClientLocalConfiguration& configuration) : m_configuration(configuration) {}

    /// False when the URL's authority, host and port exactly as written, is one whose certificate is not checked.
    bool verifySSL(const String& url) override;
    /// Always of type none, so that the system's proxy variables apply, with the user's credentials.
    Proxy getProxy(const String& url) override;

private:
    const ClientLocalConfiguration& m_configuration;
};

}  // namespace tessel
