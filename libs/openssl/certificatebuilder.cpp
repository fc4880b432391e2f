// SPDX-License-Identifier: Apache-2.0
#include "libs/openssl/certificatebuilder.h"

#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include <algorithm>

#include "libs/openssl/sites.h"

namespace tessel::tls {
namespace {

constexpr long kHour = 3600;
constexpr long kDay = 24 * kHour;

using ExtensionPointer = std::unique_ptr<X509_EXTENSION, FreeWith<X509_EXTENSION_free>>;

/// The extension is written in OpenSSL's configuration language, where these would mean something else.
bool safeName(const String& name, bool address) {
    return !name.empty() && std::all_of(name.begin(), name.end(), [address](char c) {
        return c > ' ' && c != 0x7F && c != ',' && c != '@' && (address || c != ':');
    });
}

String alternativeNames(const SelfSignedCertificate::Names& names) {
    Strings items;
    for (const String& name : names.dns) {
        items.push_back("DNS:" + name);
    }
    for (const String& address : names.addresses) {
        items.push_back("IP:" + address);
    }
    const auto safe = [](const Strings& list, bool address) {
        return std::all_of(list.begin(), list.end(), [&](const String& name) { return safeName(name, address); });
    };
    if (items.empty() || !safe(names.dns, false) || !safe(names.addresses, true)) {
        raiseOpenssl<ELibContext>("ELibContext", sites::kCertificateName);
    }
    return String(",").glue(items);
}

void addExtension(X509* certificate, X509* issuer, int nid, const char* value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const ExtensionPointer extension(X509V3_EXT_conf_nid(nullptr, &context, nid, value));
    requireStep(extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1);
}

void nameSubject(X509* certificate, const String& name) {
    X509_NAME* subject = X509_get_subject_name(certificate);
    requireStep(X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_UTF8,
                                           reinterpret_cast<const unsigned char*>(name.array()),
                                           static_cast<int>(std::min(name.length(), 64U)), -1, 0) == 1);
}

void numberIt(X509* certificate) {
    // 63 random bits: browsers refuse two certificates of one issuer and number.
    unsigned char bytes[8];
    requireStep(RAND_bytes(bytes, sizeof bytes) == 1);
    std::uint64_t number = 0;
    for (const unsigned char byte : bytes) {
        number = number << 8 | byte;
    }
    requireStep(ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate), number >> 1 | 1) == 1);
}

}  // namespace

void requireStep(bool success) {
    if (!success) {
        raiseOpenssl<ELibContext>("ELibContext", sites::kCertificate);
    }
}

EvpKeyPointer makeKeyPair(SelfSignedCertificate::Key kind) {
    EvpKeyPointer pair(kind == SelfSignedCertificate::Key::Rsa2048
                           ? EVP_RSA_gen(2048)
                           : EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
    requireStep(pair != nullptr);
    return pair;
}

X509Pointer makeCertificate(const SelfSignedCertificate::Names& names, EVP_PKEY* key, int days,
                            std::initializer_list<Extension> extensions, Issuer issuer) {
    const String alternatives = alternativeNames(names);
    X509Pointer certificate(X509_new());
    requireStep(certificate != nullptr && X509_set_version(certificate.get(), X509_VERSION_3) == 1);
    numberIt(certificate.get());
    requireStep(X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -kHour) != nullptr);
    requireStep(X509_gmtime_adj(X509_getm_notAfter(certificate.get()), kDay * days) != nullptr);
    requireStep(X509_set_pubkey(certificate.get(), key) == 1);
    nameSubject(certificate.get(), names.dns.empty() ? names.addresses.front() : names.dns.front());
    if (issuer.certificate == nullptr) {
        issuer = {certificate.get(), key};
    }
    requireStep(X509_set_issuer_name(certificate.get(), X509_get_subject_name(issuer.certificate)) == 1);
    for (const Extension& extension : extensions) {
        addExtension(certificate.get(), issuer.certificate, extension.nid, extension.value);
    }
    addExtension(certificate.get(), issuer.certificate, NID_subject_alt_name, alternatives.str());
    requireStep(X509_sign(certificate.get(), issuer.key, EVP_sha256()) > 0);
    return certificate;
}

String pemOf(X509* certificate) {
    const BioPointer text(BIO_new(BIO_s_mem()));
    requireStep(text != nullptr && PEM_write_bio_X509(text.get(), certificate) == 1);
    return textOf(text.get());
}

String pemOf(EVP_PKEY* key) {
    const BioPointer text(BIO_new(BIO_s_secmem()));
    requireStep(text != nullptr &&
                PEM_write_bio_PKCS8PrivateKey(text.get(), key, nullptr, nullptr, 0, nullptr, nullptr) == 1);
    return textOf(text.get());
}

}  // namespace tessel::tls
