#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/pem.h>

#include "libs/openssl/rsa_wrapper.h"
#include "libs/openssl/selfsignedcertificate.h"

using namespace tessel;

namespace {

const unsigned char* data(const String& text) { return reinterpret_cast<const unsigned char*>(text.array()); }

class Rsa : public testing::Test {
protected:
    static void SetUpTestSuite() { s_pair.generate(); }

    static int verify(const String& pem, const String& text, const Memory& signature) {
        tls::RSA key;
        EXPECT_EQ(key.loadFromMem(pem.str(), "", true), 1);
        return key.verify(data(text), text.length(), signature);
    }

    /// The pair's private key, encrypted.
    static String encryptedPem(const char* password) {
        BIO* in = BIO_new_mem_buf(s_pair.privatePem().str(), -1);
        EVP_PKEY* key = PEM_read_bio_PrivateKey(in, nullptr, nullptr, nullptr);
        BIO* out = BIO_new(BIO_s_mem());
        PEM_write_bio_PKCS8PrivateKey(out, key, EVP_aes_128_cbc(), password, static_cast<int>(std::strlen(password)),
                                      nullptr, nullptr);
        char* bytes = nullptr;
        const long length = BIO_get_mem_data(out, &bytes);
        const String pem = String::copy(bytes, static_cast<unsigned>(length));
        BIO_free(in);
        BIO_free(out);
        EVP_PKEY_free(key);
        return pem;
    }

    static tls::RSA s_pair;
};

tls::RSA Rsa::s_pair;

TEST_F(Rsa, VerifiesWhatItsOtherHalfSignedAndNothingElse) {
    const String text("content");
    const Memory signature = s_pair.sign(data(text), text.length());
    ASSERT_EQ(signature.length(), 256U);
    const String pem = s_pair.publicPem();
    EXPECT_GT(verify(pem, text, signature), 0);
    EXPECT_GT(s_pair.verify(data(text), text.length(), signature.array()), 0);
    EXPECT_EQ(verify(pem, "Content", signature), 0);

    tls::RSA foreign;
    foreign.generate();
    EXPECT_EQ(verify(foreign.publicPem(), text, signature), 0);
    Memory changed = signature;
    changed.setAt(200, static_cast<unsigned char>(changed[200] ^ 1));
    Memory longer = signature;
    longer.append(1, 0);
    // Also for short ones that a filling with some byte would complete.
    for (const Memory& wrong : {changed, longer, Memory(), Memory::copy(signature.array(), 255)}) {
        EXPECT_EQ(verify(pem, text, wrong), 0) << wrong.length();
    }
}

TEST_F(Rsa, ASignatureCutByItsLastByteNeverVerifies) {
    // Among these signatures some end in a zero byte and some in 0xFF.
    for (int i = 0; i < 600; ++i) {
        const String text = String::copy(std::to_string(i).c_str());
        const Memory signature = s_pair.sign(data(text), text.length());
        ASSERT_EQ(s_pair.verify(data(text), text.length(), Memory::copy(signature.array(), 255)), 0);
    }
}

TEST_F(Rsa, LoadsKeysAsOpensslDoes) {
    const String publicPem = s_pair.publicPem();
    const String privatePem = s_pair.privatePem();
    const String ecKey = tls::SelfSignedCertificate({{"h"}, {}}).keyPem();
    String damaged = publicPem.clone();
    damaged.setAt(60, '*');
    const struct {
        const char* what;
        String pem;
        const char* password;
        bool publicKey;
        int loaded;
    } cases[] = {
        {"public", publicPem, "", true, 1},
        {"public, text before and behind it", String("hello\n" + publicPem + "bye"), "", true, 1},
        {"a second block before it", String(privatePem + publicPem), "", true, 1},
        {"private", privatePem, "", false, 1},
        {"private, no password at all", privatePem, nullptr, false, 1},
        {"encrypted, right password", encryptedPem("secret"), "secret", false, 1},
        {"encrypted, wrong password", encryptedPem("secret"), "guess", false, 0},
        {"encrypted, no password", encryptedPem("secret"), nullptr, false, 0},
        {"public for private", publicPem, "", false, 0},
        {"elliptic curve", ecKey, "", false, 0},
        {"damaged", damaged, "", true, 0},
        {"cut", publicPem.range(0, 200), "", true, 0},
        {"empty", "", "", true, 0},
    };
    for (const auto& c : cases) {
        tls::RSA key;
        ASSERT_EQ(key.loadFromMem(publicPem.str(), "", true), 1);
        EXPECT_EQ(key.loadFromMem(c.pem.str(), c.password, c.publicKey), c.loaded) << c.what;
        EXPECT_EQ(key.loaded(), c.loaded == 1) << c.what;
    }
}

TEST_F(Rsa, WithoutTheHalfItNeeds) {
    tls::RSA half;
    ASSERT_EQ(half.loadFromMem(s_pair.publicPem().str(), "", true), 1);
    EXPECT_THROW(half.sign(data("x"), 1), tls::ELibContext);
    EXPECT_THROW(static_cast<void>(half.privatePem()), tls::ELibContext);
    EXPECT_THROW(half.generate(512), tls::ELibContext);
    EXPECT_THROW(static_cast<void>(half.publicPem()), tls::ELibContext);
    EXPECT_DEATH(static_cast<void>(half.verify(data("x"), 1, Memory())), "rsa_wrapper:96: .*m_rsa != 0");
}

}  // namespace
