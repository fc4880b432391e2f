// SPDX-License-Identifier: Apache-2.0
#include "libs/openssl/clientidentity.h"

#include <openssl/pkcs12.h>

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "libs/openssl/certificatebuilder.h"
#include "libs/openssl/sites.h"

namespace tessel::tls {
namespace {

using Pkcs12Pointer = std::unique_ptr<PKCS12, FreeWith<PKCS12_free>>;
using Certificates = std::vector<X509Pointer>;

const char* inWords(IdentityFault fault) noexcept {
    switch (fault) {
        case IdentityFault::NoCertificate:
            return "there is no certificate in it that can be read";
        case IdentityFault::NoKey:
            return "there is no private key in it that can be read";
        case IdentityFault::PasswordMissing:
            return "it is encrypted, and no password was given";
        case IdentityFault::WrongPassword:
            return "the password does not open it";
        case IdentityFault::OtherKey:
            return "the private key does not belong to the certificate";
        case IdentityFault::Expired:
            return "the certificate has expired";
        case IdentityFault::NotYetValid:
            return "the certificate is not yet valid";
        case IdentityFault::OldEncryption:
            return "it is encrypted in an old way that is not opened any more; \"openssl pkcs12 -legacy\" opens it";
    }
    return "";
}

[[noreturn]] void fail(IdentityFault fault) {
    ERR_clear_error();
    raise<EClientIdentity>("EClientIdentity", sites::kClientIdentity,
                           {.words = inWords(fault), .cause = static_cast<int>(fault)});
}

BioPointer reading(const Memory& bytes) {
    return BioPointer(BIO_new_mem_buf(bytes.array(), static_cast<int>(bytes.length())));
}

Certificates allIn(const Memory& pem) {
    Certificates all;
    const BioPointer text = reading(pem);
    while (X509* const next = PEM_read_bio_X509(text.get(), nullptr, nullptr, nullptr)) {
        all.emplace_back(next);
    }
    ERR_clear_error();  // that there are no more is one
    return all;
}

/// What OpenSSL asks for the password of an encrypted key.
struct Question {
    const std::optional<String>& password;
    bool asked = false;

    static int answer(char* buffer, int size, int /*writing*/, void* self) noexcept {
        auto& question = *static_cast<Question*>(self);
        question.asked = true;
        if (!question.password || question.password->length() > static_cast<unsigned>(size)) {
            return -1;
        }
        std::memcpy(buffer, question.password->array(), question.password->length());
        return static_cast<int>(question.password->length());
    }
};

EvpKeyPointer keyIn(const Memory& pem, const std::optional<String>& password) {
    Question question{password};
    EvpKeyPointer key(PEM_read_bio_PrivateKey(reading(pem).get(), nullptr, &Question::answer, &question));
    if (key == nullptr) {
        fail(!question.asked ? IdentityFault::NoKey
             : password      ? IdentityFault::WrongPassword
                             : IdentityFault::PasswordMissing);
    }
    return key;
}

/// An empty password is written in two ways.
void requirePassword(PKCS12* packed, const std::optional<String>& password) {
    const bool opened = password && !password->empty()
                            ? PKCS12_verify_mac(packed, password->str(), -1) == 1
                            : PKCS12_verify_mac(packed, "", 0) == 1 || PKCS12_verify_mac(packed, nullptr, 0) == 1;
    if (!opened) {
        fail(password ? IdentityFault::WrongPassword : IdentityFault::PasswordMissing);
    }
}

void freeAll(STACK_OF(X509) * certificates) { sk_X509_pop_free(certificates, X509_free); }

EvpKeyPointer unpack(const Memory& bytes, const std::optional<String>& password, Certificates& certificates) {
    const Pkcs12Pointer packed(d2i_PKCS12_bio(reading(bytes).get(), nullptr));
    if (packed == nullptr) {
        fail(IdentityFault::NoCertificate);
    }
    requirePassword(packed.get(), password);
    EVP_PKEY* key = nullptr;
    X509* own = nullptr;
    STACK_OF(X509)* others = nullptr;
    ERR_clear_error();
    if (PKCS12_parse(packed.get(), password ? password->str() : "", &key, &own, &others) != 1 &&
        ERR_GET_REASON(ERR_peek_error()) == ERR_R_UNSUPPORTED) {
        fail(IdentityFault::OldEncryption);
    }
    EvpKeyPointer owned(key);
    X509Pointer first(own);
    const std::unique_ptr<STACK_OF(X509), FreeWith<freeAll>> rest(others);
    if (first != nullptr) {
        certificates.push_back(std::move(first));
    }
    while (X509Pointer next{sk_X509_shift(others)}) {
        certificates.push_back(std::move(next));
    }
    if (key == nullptr) {
        fail(IdentityFault::NoKey);
    }
    return owned;
}

/// Puts the key's own certificate first.
void order(Certificates& certificates, EVP_PKEY* key) {
    const auto own = std::ranges::find_if(
        certificates, [key](const X509Pointer& one) { return X509_check_private_key(one.get(), key) == 1; });
    if (own == certificates.end()) {
        fail(IdentityFault::OtherKey);
    }
    std::rotate(certificates.begin(), own, own + 1);
    ERR_clear_error();
    if (X509_cmp_current_time(X509_get0_notAfter(certificates.front().get())) < 0) {
        fail(IdentityFault::Expired);
    }
    if (X509_cmp_current_time(X509_get0_notBefore(certificates.front().get())) > 0) {
        fail(IdentityFault::NotYetValid);
    }
}

}  // namespace

ClientIdentity ClientIdentity::read(const Memory& certificate, const Memory& key,
                                    const std::optional<String>& password) {
    const bool pem = certificate.view().find("-----BEGIN ") != std::string_view::npos;
    Certificates certificates = pem ? allIn(certificate) : Certificates();
    if (pem && certificates.empty()) {
        fail(IdentityFault::NoCertificate);
    }
    const EvpKeyPointer pair =
        pem ? keyIn(key.length() == 0 ? certificate : key, password) : unpack(certificate, password, certificates);
    order(certificates, pair.get());
    ClientIdentity identity{.keyPem = pemOf(pair.get()),
                            .subject = oneLine(X509_get_subject_name(certificates.front().get()))};
    for (const X509Pointer& one : certificates) {
        identity.certificatePem += pemOf(one.get());
    }
    return identity;
}

unsigned certificatesIn(const Memory& pem) { return static_cast<unsigned>(allIn(pem).size()); }

}  // namespace tessel::tls
