// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "apps/nebrix-demo-gateway/certificates.h"

namespace tessel::gateway {

/// The certificates of one tunnel, made in memory for it alone: an authority, and what it issued to the tunnel's server
/// and to its clients. The authority's key is forgotten.
struct TunnelPki {
    std::string authorityPem;
    std::string serverPem;
    std::string serverKeyPem;
    /// The client's as PKCS #12.
    TunnelCertificates served;
};

/// The server bears the name; the password opens the client's file. Raises tls::ELibContext.
TunnelPki makePki(const std::string& serverName, const std::string& password);

}  // namespace tessel::gateway
