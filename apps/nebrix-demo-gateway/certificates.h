// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace tessel::gateway {

/// One file of the configuration's "certificates".
struct ServedCertificate {
    std::string filename;
    std::string content;
    std::string md5;
};

/// What the tunnel plug-in fetches: the certificate and key that it shows, and whom it trusts.
struct TunnelCertificates {
    ServedCertificate client;
    ServedCertificate authority;
};

/// Those of a folder: client.p12, or client.pem where there is none, and ca.pem. Raises sign::ESign when one cannot be
/// read.
TunnelCertificates certificatesOf(const std::string& folder);

/// One of these files with its digest.
ServedCertificate servedCertificate(const std::string& filename, const std::string& content);

/// A made-up client certificate, which opens nothing, and the authority given as PEM.
TunnelCertificates madeUpCertificates(const std::string& authorityPem);

}  // namespace tessel::gateway
