// SPDX-License-Identifier: Apache-2.0
// The key is kept in the form that RSA_verify takes, which OpenSSL 3 calls deprecated and still supports.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "libs/openssl/rsa_pem.h"

#include <fcntl.h>
#include <openssl/rsa.h>
#include <unistd.h>

#include <cstring>
#include <string_view>

#include "libs/openssl/opensslhandles.h"
#include "libs/openssl/rsa_wrapper.h"
#include "libs/openssl/sites.h"

namespace tessel::tls {
namespace {

/// OpenSSL's password callback: gives what loadFromMem() was given, and never asks on the terminal.
int givePassword(char* buffer, int size, int /*writing*/, void* password) noexcept {
    const auto* text = static_cast<const char*>(password);
    const std::size_t length = text != nullptr ? std::strlen(text) : 0;
    if (size < 0 || length > static_cast<std::size_t>(size)) {
        return -1;
    }
    std::memcpy(buffer, text != nullptr ? text : "", length);
    return static_cast<int>(length);
}

/// The bytes of one PEM block, as OpenSSL gives them out.
struct PemBlock {
    char* name = nullptr;
    char* header = nullptr;
    unsigned char* data = nullptr;
    long length = 0;

    PemBlock() = default;
    PemBlock(const PemBlock&) = delete;
    PemBlock& operator=(const PemBlock&) = delete;
    ~PemBlock() {
        OPENSSL_free(name);
        OPENSSL_free(header);
        OPENSSL_free(data);
    }
};

/// The plain case, read without OpenSSL's chain of decoders, which costs more than verifying a signature does: the
/// text's first block is an unencrypted "PUBLIC KEY" that holds an RSA key and nothing else. Null for anything else,
/// which is then for PEM_read_bio_PUBKEY to judge.
::RSA* readPlainPublicKey(BIO* bio) {
    PemBlock block;
    if (PEM_read_bio(bio, &block.name, &block.header, &block.data, &block.length) != 1 ||
        std::strcmp(block.name, PEM_STRING_PUBLIC) != 0 || *block.header != '\0') {
        return nullptr;
    }
    const unsigned char* position = block.data;
    ::RSA* key = d2i_RSA_PUBKEY(nullptr, &position, block.length);
    if (key != nullptr && position != block.data + block.length) {
        RSA_free(key);
        key = nullptr;
    }
    return key;
}

constexpr int kLongestPassword = 1024;

bool hasTerminal() noexcept {
    const int terminal = ::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
    return terminal >= 0 && ::close(terminal) == 0;
}

}  // namespace

bool isEncryptedPrivateKey(const char* pem) {
    const BioPointer bio(BIO_new_mem_buf(pem, -1));
    bool encrypted = false;
    for (bool found = false; bio != nullptr && !found;) {
        PemBlock block;
        if (PEM_read_bio(bio.get(), &block.name, &block.header, &block.data, &block.length) != 1) {
            break;
        }
        found = std::string_view(block.name).ends_with("PRIVATE KEY");
        encrypted = found && (std::strcmp(block.name, PEM_STRING_PKCS8) == 0 ||
                              std::string_view(block.header).find("ENCRYPTED") != std::string_view::npos);
    }
    ERR_clear_error();
    return encrypted;
}

std::optional<String> askPassword(const String& prompt) {
    char typed[kLongestPassword + 1] = {};
    // Without a terminal OpenSSL would read standard input.
    const bool given =
        hasTerminal() && EVP_read_pw_string(typed, kLongestPassword, prompt.clone().str(), /*verify=*/0) == 0;
    std::optional<String> password;
    if (given) {
        password = String::copy(typed);
    }
    OPENSSL_cleanse(typed, sizeof typed);
    return password;
}

int RSA::loadFromMem(const char* pem, const char* password, bool publicKey) {
    destroy();
    const BioPointer bio(BIO_new_mem_buf(pem, -1));
    if (bio != nullptr && publicKey) {
        m_rsa = readPlainPublicKey(bio.get());
    }
    if (bio != nullptr && m_rsa == nullptr) {
        // Rewinds: the memory is read-only.
        static_cast<void>(BIO_reset(bio.get()));
        // OpenSSL hands the pointer on to the callback and does not write through it.
        void* const given = const_cast<char*>(password);
        const EvpKeyPointer key(publicKey ? PEM_read_bio_PUBKEY(bio.get(), nullptr, givePassword, given)
                                          : PEM_read_bio_PrivateKey(bio.get(), nullptr, givePassword, given));
        m_rsa = key != nullptr ? EVP_PKEY_get1_RSA(key.get()) : nullptr;
    }
    ERR_clear_error();
    return m_rsa != nullptr ? 1 : 0;
}

String RSA::publicPem() const {
    const BioPointer bio(BIO_new(BIO_s_mem()));
    if (m_rsa == nullptr || bio == nullptr || PEM_write_bio_RSA_PUBKEY(bio.get(), m_rsa) != 1) {
        raiseOpenssl<ELibContext>("ELibContext", sites::kRsaPem);
    }
    return textOf(bio.get());
}

String RSA::privatePem() const {
    // In locked-down memory where OpenSSL has such, and overwritten when freed.
    const BioPointer bio(BIO_new(BIO_s_secmem()));
    const EvpKeyPointer key(EVP_PKEY_new());
    if (m_rsa == nullptr || RSA_get0_d(m_rsa) == nullptr || bio == nullptr || key == nullptr ||
        EVP_PKEY_set1_RSA(key.get(), m_rsa) != 1 ||
        PEM_write_bio_PKCS8PrivateKey(bio.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) != 1) {
        raiseOpenssl<ELibContext>("ELibContext", sites::kRsaPem);
    }
    return textOf(bio.get());
}

}  // namespace tessel::tls
