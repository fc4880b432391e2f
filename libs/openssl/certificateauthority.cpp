// SPDX-License-Identifier: Apache-2.0
#include "libs/openssl/certificateauthority.h"

#include <openssl/pkcs12.h>
#include <openssl/x509v3.h>

#include "libs/openssl/certificatebuilder.h"

namespace tessel::tls {
namespace {

using Pkcs12Pointer = std::unique_ptr<PKCS12, FreeWith<PKCS12_free>>;

BioPointer reading(const String& text) {
    BioPointer memory(BIO_new_mem_buf(text.array(), static_cast<int>(text.length())));
    requireStep(memory != nullptr);
    return memory;
}

X509Pointer certificateIn(const String& pem) {
    X509Pointer certificate(PEM_read_bio_X509(reading(pem).get(), nullptr, nullptr, nullptr));
    requireStep(certificate != nullptr);
    return certificate;
}

EvpKeyPointer keyIn(const String& pem) {
    EvpKeyPointer key(PEM_read_bio_PrivateKey(reading(pem).get(), nullptr, nullptr, nullptr));
    requireStep(key != nullptr);
    return key;
}

}  // namespace

Memory IssuedCertificate::pkcs12(const String& password) const {
    const Pkcs12Pointer packed(PKCS12_create(password.str(), nullptr, keyIn(keyPem).get(),
                                             certificateIn(certificatePem).get(), nullptr, 0, 0, 0, 0, 0));
    const BioPointer bytes(BIO_new(BIO_s_mem()));
    requireStep(packed != nullptr && bytes != nullptr && i2d_PKCS12_bio(bytes.get(), packed.get()) == 1);
    char* start = nullptr;
    const long length = BIO_get_mem_data(bytes.get(), &start);
    return Memory::copy(start, static_cast<unsigned>(length));
}

CertificateAuthority::CertificateAuthority(const String& name, int days)
    : m_own({.dns = {name}, .addresses = {}}, SelfSignedCertificate::Key::EcP256, days), m_days(days) {}

IssuedCertificate CertificateAuthority::issue(const SelfSignedCertificate::Names& names, Purpose purpose) const {
    const EvpKeyPointer pair = makeKeyPair(SelfSignedCertificate::Key::EcP256);
    const X509Pointer authority = certificateIn(m_own.certificatePem());
    const EvpKeyPointer signing = keyIn(m_own.keyPem());
    const X509Pointer certificate =
        makeCertificate(names, pair.get(), m_days,
                        {{NID_basic_constraints, "critical,CA:FALSE"},
                         {NID_key_usage, "critical,digitalSignature"},
                         {NID_ext_key_usage, purpose == Purpose::Server ? "serverAuth" : "clientAuth"},
                         {NID_subject_key_identifier, "hash"},
                         {NID_authority_key_identifier, "keyid:always"}},
                        {authority.get(), signing.get()});
    return {pemOf(certificate.get()), pemOf(pair.get())};
}

}  // namespace tessel::tls
