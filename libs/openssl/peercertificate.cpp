#include "libs/openssl/peercertificate.h"

#include <arpa/inet.h>
#include <openssl/x509v3.h>

#include "libs/openssl/opensslhandles.h"

namespace tessel::tls {
namespace {

using NamesPointer = std::unique_ptr<GENERAL_NAMES, FreeWith<GENERAL_NAMES_free>>;
using Reason = PeerCertificate::Reason;

Reason reasonOf(long verifyError) {
    switch (verifyError) {
        case X509_V_OK:
        case X509_V_ERR_HOSTNAME_MISMATCH:
        case X509_V_ERR_IP_ADDRESS_MISMATCH:
            return Reason::OtherName;
        case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
            return Reason::SelfSigned;
        case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
        case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
        case X509_V_ERR_CERT_UNTRUSTED:
            return Reason::UnknownIssuer;
        case X509_V_ERR_CERT_HAS_EXPIRED:
            return Reason::Expired;
        case X509_V_ERR_CERT_NOT_YET_VALID:
            return Reason::NotYetValid;
        case X509_V_ERR_EE_KEY_TOO_SMALL:
        case X509_V_ERR_CA_KEY_TOO_SMALL:
        case X509_V_ERR_CA_MD_TOO_WEAK:
            return Reason::Weak;
        case X509_V_ERR_CERT_REVOKED:
            return Reason::Revoked;
        default:
            return Reason::Other;
    }
}

/// UTF-8 as it is, control bytes escaped.
constexpr unsigned long kTextFlags = ASN1_STRFLGS_RFC2253 & ~static_cast<unsigned long>(ASN1_STRFLGS_ESC_MSB);
constexpr unsigned long kNameFlags = (XN_FLAG_RFC2253 & ~static_cast<unsigned long>(ASN1_STRFLGS_ESC_MSB));

String oneLine(const X509_NAME* name) {
    const BioPointer bio(BIO_new(BIO_s_mem()));
    return bio != nullptr && X509_NAME_print_ex(bio.get(), name, 0, kNameFlags) >= 0 ? textOf(bio.get()) : String();
}

String dnsName(const ASN1_STRING* name) {
    const BioPointer bio(BIO_new(BIO_s_mem()));
    return bio != nullptr && ASN1_STRING_print_ex(bio.get(), name, kTextFlags) >= 0 ? textOf(bio.get()) : String();
}

String addressText(const ASN1_OCTET_STRING* address) {
    constexpr int kIpv4 = 4;
    constexpr int kIpv6 = 16;
    const int length = ASN1_STRING_length(address);
    char text[INET6_ADDRSTRLEN] = "";
    if (length == kIpv4 || length == kIpv6) {
        ::inet_ntop(length == kIpv4 ? AF_INET : AF_INET6, ASN1_STRING_get0_data(address), text, sizeof text);
    }
    return String::copy(text);
}

Strings alternativeNames(const X509* certificate) {
    Strings texts;
    const NamesPointer names(
        static_cast<GENERAL_NAMES*>(X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)));
    const int count = names != nullptr ? sk_GENERAL_NAME_num(names.get()) : 0;
    for (int i = 0; i < count; ++i) {
        int type = 0;
        const void* const value = GENERAL_NAME_get0_value(sk_GENERAL_NAME_value(names.get(), i), &type);
        if (type == GEN_DNS) {
            texts.push_back(dnsName(static_cast<const ASN1_STRING*>(value)));
        } else if (type == GEN_IPADD) {
            texts.push_back(addressText(static_cast<const ASN1_OCTET_STRING*>(value)));
        }
    }
    return texts;
}

void readTime(const ASN1_TIME* time, std::time_t& seconds, String& text) {
    std::tm parts{};
    if (ASN1_TIME_to_tm(time, &parts) == 1) {
        char buffer[64];
        seconds = ::timegm(&parts);
        text = String::copy(
            buffer, static_cast<unsigned>(std::strftime(buffer, sizeof buffer, "%Y-%m-%d %H:%M:%S UTC", &parts)));
    }
}

String hexSha256(const unsigned char* bytes, std::size_t length) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned written = 0;
    return EVP_Digest(bytes, length, digest, &written, EVP_sha256(), nullptr) == 1
               ? Memory::copy(digest, written).toHex()
               : String();
}

void readKey(X509* certificate, PeerCertificate& to) {
    unsigned char* der = nullptr;
    const int length = i2d_X509_PUBKEY(X509_get_X509_PUBKEY(certificate), &der);
    if (length > 0) {
        to.keyFingerprint = hexSha256(der, static_cast<std::size_t>(length));
    }
    OPENSSL_free(der);
    if (const EVP_PKEY* key = X509_get0_pubkey(certificate); key != nullptr) {
        const char* kind = EVP_PKEY_get0_type_name(key);
        to.keyKind = kind != nullptr ? String::copy(kind) : String();
        to.keyBits = EVP_PKEY_get_bits(key);
    }
}

}  // namespace

std::shared_ptr<const PeerCertificate> PeerCertificate::describe(const Memory& der, long verifyError) {
    const unsigned char* position = der.array();
    const X509Pointer certificate(d2i_X509(nullptr, &position, static_cast<long>(der.length())));
    if (certificate == nullptr) {
        ERR_clear_error();
        return nullptr;
    }
    const auto facts = std::make_shared<PeerCertificate>();
    facts->reason = reasonOf(verifyError);
    facts->verifyError = verifyError;
    facts->verifyText = String::copy(
        X509_verify_cert_error_string(verifyError != X509_V_OK ? verifyError : X509_V_ERR_HOSTNAME_MISMATCH));
    facts->subject = oneLine(X509_get_subject_name(certificate.get()));
    facts->issuer = oneLine(X509_get_issuer_name(certificate.get()));
    readTime(X509_get0_notBefore(certificate.get()), facts->notBefore, facts->notBeforeText);
    readTime(X509_get0_notAfter(certificate.get()), facts->notAfter, facts->notAfterText);
    facts->names = alternativeNames(certificate.get());
    facts->fingerprint = hexSha256(der.array(), der.length());
    readKey(certificate.get(), *facts);
    ERR_clear_error();
    return facts;
}

}  // namespace tessel::tls
