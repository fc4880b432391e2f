// SPDX-License-Identifier: Apache-2.0
#include "libs/openssl/peercertificate.h"

#include <arpa/inet.h>
#include <openssl/x509v3.h>

#include <algorithm>

#include "libs/base/datetime.h"
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
        seconds = ::timegm(&parts);
        text = DateTime(seconds).toUtcString("%Y-%m-%d %H:%M:%S UTC");
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

bool names(X509* certificate, const String& host) {
    const String terminated = host;
    return X509_check_ip_asc(certificate, terminated.str(), 0) == 1 ||
           X509_check_host(certificate, host.array(), host.length(), 0, nullptr) == 1;
}

/// Its own signature says nothing where it signed itself.
bool isWeak(X509* certificate) {
    constexpr int kLeastBits = 112;  // of security: OpenSSL's level 2
    int signatureBits = 0;
    const bool foreign = (X509_get_extension_flags(certificate) & EXFLAG_SS) == 0;
    const bool known = X509_get_signature_info(certificate, nullptr, nullptr, &signatureBits, nullptr) == 1;
    const EVP_PKEY* const key = X509_get0_pubkey(certificate);
    return (key != nullptr && EVP_PKEY_get_security_bits(key) < kLeastBits) ||
           (foreign && known && signatureBits < kLeastBits);
}

std::vector<Reason> flawsOf(X509* certificate, const PeerCertificate& facts, const String& host) {
    std::vector<Reason> flaws;
    const auto add = [&flaws](Reason flaw, bool found) {
        if (found && std::find(flaws.begin(), flaws.end(), flaw) == flaws.end()) {
            flaws.push_back(flaw);
        }
    };
    const std::time_t now = std::time(nullptr);
    add(Reason::NotTheOne, facts.trusted && !facts.trusted->fingerprint.empty());
    add(Reason::Changed, facts.trusted && facts.trusted->fingerprint.empty());
    add(reasonOf(facts.verifyError), facts.verifyError != X509_V_OK);
    add(Reason::Expired, facts.notAfter != -1 && facts.notAfter < now);
    add(Reason::NotYetValid, facts.notBefore > now);
    add(Reason::OtherName, !host.empty() && !names(certificate, host));
    add(Reason::Weak, isWeak(certificate));
    add(Reason::OtherName, flaws.empty());
    return flaws;
}

}  // namespace

std::shared_ptr<const PeerCertificate> PeerCertificate::describe(const Memory& der, long verifyError,
                                                                 const String& host,
                                                                 const std::optional<Trusted>& trusted) {
    const unsigned char* position = der.array();
    const X509Pointer certificate(d2i_X509(nullptr, &position, static_cast<long>(der.length())));
    if (certificate == nullptr) {
        ERR_clear_error();
        return nullptr;
    }
    const auto facts = std::make_shared<PeerCertificate>();
    facts->trusted = trusted;
    facts->verifyError = verifyError;
    facts->subject = oneLine(X509_get_subject_name(certificate.get()));
    facts->issuer = oneLine(X509_get_issuer_name(certificate.get()));
    readTime(X509_get0_notBefore(certificate.get()), facts->notBefore, facts->notBeforeText);
    readTime(X509_get0_notAfter(certificate.get()), facts->notAfter, facts->notAfterText);
    facts->names = alternativeNames(certificate.get());
    facts->fingerprint = hexSha256(der.array(), der.length());
    readKey(certificate.get(), *facts);
    facts->flaws = flawsOf(certificate.get(), *facts, host);
    facts->reason = facts->flaws.front();
    const bool wrongName = verifyError == X509_V_OK && facts->reason == Reason::OtherName;
    facts->verifyText =
        String::copy(X509_verify_cert_error_string(wrongName ? X509_V_ERR_HOSTNAME_MISMATCH : verifyError));
    ERR_clear_error();
    return facts;
}

}  // namespace tessel::tls
