// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "libs/openssl/certificateauthority.h"
#include "libs/openssl/clientidentity.h"
#include "libs/openssl/digest.h"
#include "libs/openssl/fingerprint.h"
#include "libs/openssl/peercertificate.h"
#include "libs/openssl/rsa_wrapper.h"
#include "libs/openssl/selfsignedcertificate.h"
#include "tests/support/childprocess.h"
#include "tests/support/temporarydirectory.h"

namespace tessel::tls {
namespace {

TEST(Digest, knownAnswers) {
    // FIPS 180-4 and RFC 1321 examples.
    const char* cases[][3] = {{"md5", "", "d41d8cd98f00b204e9800998ecf8427e"},
                              {"MD5", "abc", "900150983cd24fb0d6963f7d28e17f72"},
                              {"sha1", "abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
                              {"sha256", "abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"}};
    for (const auto& [name, text, wanted] : cases) {
        EVPDigest digest(name);
        // Twice: a result starts the digest anew. The second time byte by byte.
        digest.feed(String(text));
        EXPECT_EQ(digest.result().toHex(), wanted);
        for (const char* byte = text; *byte != '\0'; ++byte) {
            digest.feed(byte, 1);
        }
        EXPECT_EQ(digest.result().toHex(), wanted);
    }
    EXPECT_THROW(EVPDigest("sha3000"), EEVPDigest);
}

const unsigned char* data(const String& text) { return reinterpret_cast<const unsigned char*>(text.array()); }

class Rsa : public testing::Test {
protected:
    static void SetUpTestSuite() {
        ASSERT_EQ(s_pair.loadFromMem(nebrix::test::readFile(NEBRIX_TEST_KEY).c_str(), "", false), 1);
    }

    static int verify(const String& pem, const String& text, const Memory& signature) {
        RSA key;
        EXPECT_EQ(key.loadFromMem(pem.str(), "", true), 1);
        return key.verify(data(text), text.length(), signature);
    }

    static RSA s_pair;
};

RSA Rsa::s_pair;

TEST_F(Rsa, verifiesWhatItsOtherHalfSignedAndNothingElse) {
    const String text("content");
    const Memory signature = s_pair.sign(data(text), text.length());
    ASSERT_EQ(signature.length(), 256U);
    const String pem = s_pair.publicPem();
    EXPECT_GT(verify(pem, text, signature), 0);
    EXPECT_GT(s_pair.verify(data(text), text.length(), signature.array()), 0);
    EXPECT_EQ(verify(pem, "Content", signature), 0);
    Memory changed = signature;
    changed.setAt(200, static_cast<unsigned char>(changed[200] ^ 1));
    Memory longer = signature;
    longer.append(1, 0);
    for (const Memory& wrong : {changed, longer, Memory(), Memory::copy(signature.array(), 255)}) {
        EXPECT_EQ(verify(pem, text, wrong), 0) << wrong.length();
    }
}

TEST_F(Rsa, aSignatureCutByItsLastByteNeverVerifies) {
    // One whose last byte a filling with zero bytes would give back.
    Memory signature;
    String text;
    for (int i = 0; signature.empty() || signature[255] != 0; ++i) {
        text = String::copy(std::to_string(i).c_str());
        signature = s_pair.sign(data(text), text.length());
    }
    EXPECT_EQ(s_pair.verify(data(text), text.length(), Memory::copy(signature.array(), 255)), 0);
}

TEST_F(Rsa, loadsKeysAsOpensslDoes) {
    const String publicPem = s_pair.publicPem();
    const String privatePem = s_pair.privatePem();
    const nebrix::test::TemporaryDirectory directory;
    const std::string file = directory.write("key.pem", std::string(privatePem.view()));
    const String encrypted = String::copy(
        nebrix::test::runProgram({"openssl", "pkey", "-in", file, "-aes128", "-passout", "pass:secret"}).output);
    String damaged = publicPem.clone();
    damaged.setAt(60, '*');
    const struct {
        String pem;
        const char* password;
        bool publicKey;
        int loaded;
    } cases[] = {{publicPem, "", true, 1},
                 {String("hello\n" + publicPem + "bye"), "", true, 1},
                 {String(privatePem + publicPem), "", true, 1},
                 {privatePem, "", false, 1},
                 {privatePem, nullptr, false, 1},
                 {encrypted, "secret", false, 1},
                 {encrypted, "guess", false, 0},
                 {encrypted, nullptr, false, 0},
                 {publicPem, "", false, 0},
                 {SelfSignedCertificate({{"h"}, {}}).keyPem(), "", false, 0},
                 {damaged, "", true, 0},
                 {publicPem.range(0, 200), "", true, 0},
                 {"", "", true, 0}};
    for (const auto& c : cases) {
        RSA key;
        ASSERT_EQ(key.loadFromMem(publicPem.str(), "", true), 1);
        EXPECT_EQ(key.loadFromMem(c.pem.str(), c.password, c.publicKey), c.loaded) << &c - cases;
        EXPECT_EQ(key.loaded(), c.loaded == 1) << &c - cases;
    }
}

TEST_F(Rsa, withoutTheHalfItNeeds) {
    RSA half;
    ASSERT_EQ(half.loadFromMem(s_pair.publicPem().str(), "", true), 1);
    EXPECT_THROW(half.sign(data("x"), 1), ELibContext);
    EXPECT_THROW(static_cast<void>(half.privatePem()), ELibContext);
    EXPECT_THROW(half.generate(512), ELibContext);
    EXPECT_THROW(static_cast<void>(half.publicPem()), ELibContext);
    EXPECT_DEATH(static_cast<void>(half.verify(data("x"), 1, Memory())), "rsa_wrapper:96: .*m_rsa != 0");
}

TEST(CertificateAuthority, issuesForOnePurposeWhatItsPasswordAloneOpens) {
    const nebrix::test::TemporaryDirectory directory;
    const CertificateAuthority authority("authority.example");
    const auto openssl = [&](const std::string& words) {
        return nebrix::test::runProgram({"sh", "-c", "cd '" + directory.path() + "' && openssl " + words}).status == 0;
    };
    directory.write("ca.pem", std::string(authority.certificatePem().view()));
    directory.write("other.pem", std::string(CertificateAuthority("authority.example").certificatePem().view()));
    for (const auto& [purpose, own, other] :
         {std::tuple(CertificateAuthority::Purpose::Server, "sslserver", "sslclient"),
          {CertificateAuthority::Purpose::Client, "sslclient", "sslserver"}}) {
        const IssuedCertificate issued = authority.issue({{"one.example", "two.example"}, {}}, purpose);
        directory.write("one.p12", std::string(issued.pkcs12("secret").view()));
        EXPECT_FALSE(openssl("pkcs12 -in one.p12 -passin pass:guess -nodes -out one.pem"));
        ASSERT_TRUE(openssl("pkcs12 -in one.p12 -passin pass:secret -nodes -out one.pem"));
        EXPECT_TRUE(nebrix::test::readFile(directory.path("one.pem")).ends_with(issued.keyPem.view()));
        const std::string verify = "verify -verify_hostname two.example -purpose ";
        EXPECT_TRUE(openssl(verify + own + " -CAfile ca.pem one.pem"));
        EXPECT_FALSE(openssl(verify + other + " -CAfile ca.pem one.pem"));
        EXPECT_FALSE(openssl(verify + own + " -CAfile other.pem one.pem"));
        EXPECT_TRUE(openssl("x509 -in one.pem -noout -ext basicConstraints | grep CA:FALSE"));
    }
}

TEST(ClientIdentity, isReadWhateverItsFormAndRefusedInWords) {
    const nebrix::test::TemporaryDirectory directory;
    const CertificateAuthority authority("authority.example");
    const IssuedCertificate me = authority.issue({{"me.example"}, {}}, CertificateAuthority::Purpose::Client);
    const IssuedCertificate old = CertificateAuthority("old.example", -1).issue({{"me.example"}, {}}, {});
    directory.write("key.pem", std::string(me.keyPem.view()));
    ASSERT_EQ(nebrix::test::runProgram({"openssl", "pkey", "-in", directory.path("key.pem"), "-aes128", "-passout",
                                        "pass:secret", "-out", directory.path("locked.pem")})
                  .status,
              0);
    const String locked = String::copy(nebrix::test::readFile(directory.path("locked.pem")));
    directory.write("both.pem", std::string(String(me.keyPem + me.certificatePem).view()));
    ASSERT_EQ(nebrix::test::runProgram({"openssl", "pkcs12", "-export", "-legacy", "-in", directory.path("both.pem"),
                                        "-passout", "pass:secret", "-out", directory.path("old.p12")})
                  .status,
              0);
    const Memory outdated = String::copy(nebrix::test::readFile(directory.path("old.p12")));
    const String chain = authority.certificatePem() + me.certificatePem;
    const Memory packed = me.pkcs12("secret");
    constexpr auto kGood = static_cast<IdentityFault>(0);
    const std::optional<String> none;
    const std::tuple<int, Memory, Memory, std::optional<String>, IdentityFault> cases[] = {
        {1, me.certificatePem, me.keyPem, none, kGood},
        {2, String(chain + me.keyPem), {}, none, kGood},
        {3, chain, locked, "secret", kGood},
        {4, packed, {}, "secret", kGood},
        {5, me.pkcs12(""), {}, none, kGood},
        {7, chain, locked, "guess", IdentityFault::WrongPassword},
        {8, packed, {}, none, IdentityFault::PasswordMissing},
        {9, packed, {}, "guess", IdentityFault::WrongPassword},
        {10, chain, {}, none, IdentityFault::NoKey},
        {13, outdated, {}, "secret", IdentityFault::OldEncryption},
        {11, chain, old.keyPem, none, IdentityFault::OtherKey},
        {12, old.certificatePem, old.keyPem, none, IdentityFault::Expired},
        {6, String("\x30\x82nothing"), {}, none, IdentityFault::NoCertificate}};
    for (const auto& [number, certificate, key, password, fault] : cases) {
        try {
            const ClientIdentity identity = ClientIdentity::read(certificate, key, password);
            EXPECT_EQ(fault, kGood) << number;
            EXPECT_TRUE(identity.certificatePem.starts(me.certificatePem)) << number << identity.certificatePem.str();
            EXPECT_EQ(identity.keyPem, me.keyPem) << number;
        } catch (const EClientIdentity& caught) {
            EXPECT_EQ(caught.facts().cause, static_cast<int>(fault)) << number;
        }
    }
}

TEST(Fingerprint, isReadAsPeopleWriteIt) {
    const String hex = "00112233445566778899aabbccddeeff0123456789abcdef0123456789abcdef";
    const String shown = fingerprintText(hex);
    EXPECT_TRUE(shown.starts("00:11:22:") && shown.ends(":CD:EF")) << shown.str();
    for (const String& text : {hex, shown, hex.upper(), shown.replace(":", " "), String(" " + shown.lower() + "\n")}) {
        EXPECT_EQ(fingerprintBytes(text).toHex(), hex) << text.str();
    }
    for (const String& text :
         {String(), hex.range(1), String(hex + "0"), hex.replace("a", "g"), shown.replace(":", "-")}) {
        EXPECT_TRUE(fingerprintBytes(text).empty()) << text.str();
        EXPECT_EQ(fingerprintText(text), text);
    }
}

TEST(PeerCertificate, saysWhatOpensslSays) {
    const nebrix::test::TemporaryDirectory directory;
    const std::string pem = directory.path("cert.pem");
    const std::string der = directory.path("cert.der");
    const auto openssl = [](std::vector<std::string> words) {
        words.insert(words.begin(), "openssl");
        return nebrix::test::runProgram(std::move(words)).output;
    };
    openssl({"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", directory.path("key.pem"), "-out", pem,
             "-utf8", "-subj", "/CN=gw.example/O=B\u00FCcher\n& \x01", "-addext",
             "subjectAltName=DNS:gw.example,email:a@b,IP:10.0.0.1,IP:2001:db8::1"});
    openssl({"x509", "-in", pem, "-outform", "DER", "-out", der});
    const std::string bytes = nebrix::test::readFile(der);
    const Memory certificate = Memory::copy(bytes.data(), static_cast<unsigned>(bytes.size()));
    const auto facts = PeerCertificate::describe(certificate, 18);
    ASSERT_NE(facts, nullptr);
    EXPECT_EQ(facts->subject.view(), "O=B\u00FCcher\\0A& \\01,CN=gw.example");
    EXPECT_EQ(facts->issuer, facts->subject);
    EXPECT_EQ(facts->names, (Strings{"gw.example", "10.0.0.1", "2001:db8::1"}));
    EXPECT_EQ(openssl({"x509", "-in", pem, "-noout", "-dates", "-dateopt", "iso_8601"}),
              "notBefore=" + std::string(facts->notBeforeText.replace(" UTC", "Z").view()) +
                  "\nnotAfter=" + std::string(facts->notAfterText.replace(" UTC", "Z").view()) + "\n");
    EXPECT_EQ(facts->notAfter - facts->notBefore, 30 * 24 * 3600);
    EXPECT_NEAR(static_cast<double>(facts->notBefore), static_cast<double>(std::time(nullptr)), 60.0);
    EXPECT_TRUE(openssl({"dgst", "-sha256", der}).ends_with("= " + std::string(facts->fingerprint.view()) + "\n"));
    const std::string key = directory.write("pub.pem", openssl({"x509", "-in", pem, "-noout", "-pubkey"}));
    openssl({"pkey", "-pubin", "-in", key, "-outform", "DER", "-out", der});
    EXPECT_TRUE(openssl({"dgst", "-sha256", der}).ends_with("= " + std::string(facts->keyFingerprint.view()) + "\n"));
    EXPECT_EQ(facts->keyKind, "RSA");
    EXPECT_EQ(facts->keyBits, 2048);
    EXPECT_EQ(facts->verifyText, "self-signed certificate");

    // OpenSSL's codes, as x509_vfy.h has them.
    using Reason = PeerCertificate::Reason;
    const std::pair<long, Reason> reasons[] = {
        {0, Reason::OtherName},   {62, Reason::OtherName},     {18, Reason::SelfSigned}, {19, Reason::UnknownIssuer},
        {9, Reason::NotYetValid}, {20, Reason::UnknownIssuer}, {10, Reason::Expired},    {66, Reason::Weak},
        {23, Reason::Revoked},    {1, Reason::Other}};
    for (const auto& [code, reason] : reasons) {
        EXPECT_EQ(PeerCertificate::describe(certificate, code)->reason, reason) << code;
    }
    const PeerCertificate::Trusted keyAlone{.keyFingerprint = facts->keyFingerprint};
    const PeerCertificate::Trusted whole{.fingerprint = facts->keyFingerprint};
    const std::tuple<long, const char*, std::optional<PeerCertificate::Trusted>, std::vector<Reason>> flaws[] = {
        {18, "gw.example", std::nullopt, {Reason::SelfSigned}},
        {18, "2001:db8:0::1", std::nullopt, {Reason::SelfSigned}},
        {18, "10.0.0.2", std::nullopt, {Reason::SelfSigned, Reason::OtherName}},
        {0, "gw.example", keyAlone, {Reason::Changed}},
        {10, "gw", PeerCertificate::Trusted(), {Reason::Changed, Reason::Expired, Reason::OtherName}},
        {18, "", whole, {Reason::NotTheOne, Reason::SelfSigned}}};
    for (const auto& [code, host, trusted, wanted] : flaws) {
        EXPECT_EQ(PeerCertificate::describe(certificate, code, host, trusted)->flaws, wanted) << code << host;
    }
    for (unsigned length = 0; length < certificate.length(); ++length) {
        EXPECT_EQ(PeerCertificate::describe(Memory::copy(bytes.data(), length), 18), nullptr) << length;
    }
}

}  // namespace
}  // namespace tessel::tls
