#include <gtest/gtest.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>

#include "libs/openssl/selfsignedcertificate.h"
#include "tests/support/temporarydirectory.h"

using namespace tessel;
using tls::SelfSignedCertificate;

namespace {

struct Read {
    explicit Read(const std::string& path) : pem(nebrix::test::readFile(path)) {}
    std::string pem;
    std::unique_ptr<BIO, decltype(&BIO_free)> bio{BIO_new_mem_buf(pem.data(), -1), BIO_free};
};

TEST(SelfSignedCertificate, NamesItsHostsAndFitsItsKey) {
    const nebrix::test::TemporaryDirectory directory;
    ASSERT_EQ(::symlink("/nowhere/else", directory.path("key.pem").c_str()), 0);
    for (const auto kind : {SelfSignedCertificate::Key::Rsa2048, SelfSignedCertificate::Key::EcP256}) {
        const SelfSignedCertificate made({{"localhost", "gw.example"}, {"127.0.0.1", "::1"}}, kind);
        made.writeFiles(String::copy(directory.path("cert.pem")), String::copy(directory.path("key.pem")));
        struct stat status {};
        ASSERT_EQ(::lstat(directory.path("key.pem").c_str(), &status), 0);
        EXPECT_EQ(status.st_mode, S_IFREG | 0600U);

        const Read certificateText(directory.path("cert.pem"));
        const Read keyText(directory.path("key.pem"));
        X509* certificate = PEM_read_bio_X509(certificateText.bio.get(), nullptr, nullptr, nullptr);
        EVP_PKEY* key = PEM_read_bio_PrivateKey(keyText.bio.get(), nullptr, nullptr, nullptr);
        EXPECT_EQ(X509_check_private_key(certificate, key), 1);
        EXPECT_EQ(X509_verify(certificate, key), 1);
        EXPECT_EQ(X509_check_host(certificate, "gw.example", 0, 0, nullptr), 1);
        EXPECT_EQ(X509_check_host(certificate, "other.example", 0, 0, nullptr), 0);
        EXPECT_EQ(X509_check_ip_asc(certificate, "::1", 0), 1);
        EXPECT_LT(X509_cmp_current_time(X509_get0_notBefore(certificate)), 0);
        EXPECT_GT(X509_cmp_current_time(X509_get0_notAfter(certificate)), 0);
        X509_free(certificate);
        EVP_PKEY_free(key);
    }
}

TEST(SelfSignedCertificate, RefusesNamesThatAreNone) {
    const SelfSignedCertificate::Names cases[] = {{{}, {}},           {{"a,DNS:b"}, {}}, {{"a", ""}, {}},
                                                  {{"@section"}, {}}, {{}, {"127.0.0"}}, {{"a\nb"}, {}}};
    for (const auto& names : cases) {
        EXPECT_THROW(SelfSignedCertificate{names}, tls::ELibContext);
    }
    const SelfSignedCertificate made({{"localhost"}, {}});
    EXPECT_THROW(made.writeFiles("/nowhere/else/cert.pem", "/nowhere/else/key.pem"), tls::ELibContext);
}

}  // namespace
