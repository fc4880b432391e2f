// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-demo-gateway/certificates.h"

#include <filesystem>

#include "apps/nebrix-sign/files.h"
#include "apps/nebrix-sign/signing.h"
#include "libs/openssl/selfsignedcertificate.h"

namespace tessel::gateway {

ServedCertificate servedCertificate(const std::string& filename, const std::string& content) {
    return {filename, content, sign::md5Hex(content)};
}

TunnelCertificates certificatesOf(const std::string& folder) {
    const bool packed = std::filesystem::exists(folder + "/client.p12");
    const std::string client = packed ? "client.p12" : "client.pem";
    return {.client = servedCertificate(client, sign::readWhole(folder + "/" + client)),
            .authority = servedCertificate("ca.pem", sign::readWhole(folder + "/ca.pem"))};
}

TunnelCertificates madeUpCertificates(const std::string& authorityPem) {
    const tls::SelfSignedCertificate client({.dns = {"nebrix-demo-client"}, .addresses = {}});
    return {.client = servedCertificate(
                "client.pem", std::string(client.certificatePem().view()) + std::string(client.keyPem().view())),
            .authority = servedCertificate("authority.pem", authorityPem)};
}

}  // namespace tessel::gateway
