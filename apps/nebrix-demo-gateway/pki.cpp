// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-demo-gateway/pki.h"

#include "libs/openssl/certificateauthority.h"

namespace tessel::gateway {

TunnelPki makePki(const std::string& serverName, const std::string& password) {
    using Purpose = tls::CertificateAuthority::Purpose;
    const tls::CertificateAuthority authority("nebrix-demo-authority");
    const auto server = authority.issue({.dns = {String::copy(serverName)}, .addresses = {}}, Purpose::Server);
    const auto client = authority.issue({.dns = {"nebrix-demo-client"}, .addresses = {}}, Purpose::Client);
    const std::string pem(authority.certificatePem().view());
    const Memory packed = client.pkcs12(String::copy(password));
    return {.authorityPem = pem,
            .serverPem = std::string(server.certificatePem.view()),
            .serverKeyPem = std::string(server.keyPem.view()),
            .served = {.client = servedCertificate("client.p12", std::string(packed.view())),
                       .authority = servedCertificate("ca.pem", pem)}};
}

}  // namespace tessel::gateway
