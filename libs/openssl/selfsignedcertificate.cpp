#include "libs/openssl/selfsignedcertificate.h"

#include <fcntl.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "libs/openssl/opensslhandles.h"
#include "libs/openssl/sites.h"

namespace tessel::tls {
namespace {

constexpr long kHour = 3600;
constexpr long kDay = 24 * kHour;

using ExtensionPointer = std::unique_ptr<X509_EXTENSION, FreeWith<X509_EXTENSION_free>>;

void require(bool success) {
    if (!success) {
        raiseOpenssl<ELibContext>("ELibContext", sites::kCertificate);
    }
}

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

void addExtension(X509* certificate, int nid, const String& value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
    const ExtensionPointer extension(X509V3_EXT_conf_nid(nullptr, &context, nid, value.str()));
    require(extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1);
}

void nameSubject(X509* certificate, const String& name) {
    X509_NAME* subject = X509_get_subject_name(certificate);
    require(X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_UTF8,
                                       reinterpret_cast<const unsigned char*>(name.array()),
                                       static_cast<int>(std::min(name.length(), 64U)), -1, 0) == 1);
    require(X509_set_issuer_name(certificate, subject) == 1);
}

void numberIt(X509* certificate) {
    // 63 random bits: browsers refuse two certificates of one issuer and number.
    unsigned char bytes[8];
    require(RAND_bytes(bytes, sizeof bytes) == 1);
    std::uint64_t number = 0;
    for (const unsigned char byte : bytes) {
        number = number << 8 | byte;
    }
    require(ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate), number >> 1 | 1) == 1);
}

X509Pointer makeCertificate(const SelfSignedCertificate::Names& names, EVP_PKEY* key, int days) {
    const String alternatives = alternativeNames(names);
    X509Pointer certificate(X509_new());
    require(certificate != nullptr && X509_set_version(certificate.get(), X509_VERSION_3) == 1);
    numberIt(certificate.get());
    require(X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -kHour) != nullptr);
    require(X509_gmtime_adj(X509_getm_notAfter(certificate.get()), kDay * days) != nullptr);
    require(X509_set_pubkey(certificate.get(), key) == 1);
    nameSubject(certificate.get(), names.dns.empty() ? names.addresses.front() : names.dns.front());
    addExtension(certificate.get(), NID_basic_constraints, "critical,CA:TRUE");
    addExtension(certificate.get(), NID_subject_key_identifier, "hash");
    addExtension(certificate.get(), NID_subject_alt_name, alternatives);
    require(X509_sign(certificate.get(), key, EVP_sha256()) > 0);
    return certificate;
}

/// Written beside its place and moved there, so that no moment shows half a file or one that others may read.
void writePrivateFile(const String& path, const String& text) {
    String fresh = path + ".new";
    ::unlink(fresh.str());
    const int file = ::open(fresh.str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
    const bool written = file >= 0 && ::write(file, text.array(), text.length()) == ssize_t{text.length()};
    const bool closed = file >= 0 && ::close(file) == 0;
    if (!written || !closed || std::rename(fresh.str(), path.clone().str()) != 0) {
        ::unlink(fresh.str());
        raise<ELibContext>("ELibContext: cannot write " + path, sites::kCertificateFile);
    }
}

}  // namespace

SelfSignedCertificate::SelfSignedCertificate(const Names& names, Key key, int days) {
    const EvpKeyPointer pair(key == Key::Rsa2048 ? EVP_RSA_gen(2048)
                                                 : EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
    require(pair != nullptr);
    const X509Pointer certificate = makeCertificate(names, pair.get(), days);
    const BioPointer certificateText(BIO_new(BIO_s_mem()));
    const BioPointer keyText(BIO_new(BIO_s_secmem()));
    require(certificateText != nullptr && PEM_write_bio_X509(certificateText.get(), certificate.get()) == 1);
    require(keyText != nullptr &&
            PEM_write_bio_PKCS8PrivateKey(keyText.get(), pair.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1);
    m_certificate = textOf(certificateText.get());
    m_key = textOf(keyText.get());
}

void SelfSignedCertificate::writeFiles(const String& certificatePath, const String& keyPath) const {
    writePrivateFile(certificatePath, m_certificate);
    writePrivateFile(keyPath, m_key);
}

}  // namespace tessel::tls
