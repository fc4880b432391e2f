#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "libs/openssl/selfsignedcertificate.h"
#include "tests/support/childprocess.h"

using namespace tessel;
using tls::SelfSignedCertificate;

namespace {

TEST(SelfSignedCertificate, NamesItsHostsAndFitsItsKey) {
    const nebrix::test::TemporaryDirectory directory;
    const std::string certificate = directory.path("cert.pem");
    const std::string key = directory.path("key.pem");
    ASSERT_EQ(::symlink("/nowhere/else", key.c_str()), 0);
    const auto verified = [&](const std::string& what, const std::string& name) {
        return nebrix::test::runProgram({"openssl", "verify", "-CAfile", certificate, what, name, certificate}).status;
    };
    for (const auto kind : {SelfSignedCertificate::Key::Rsa2048, SelfSignedCertificate::Key::EcP256}) {
        const SelfSignedCertificate made({{"localhost", "gw.example"}, {"127.0.0.1", "::1"}}, kind);
        made.writeFiles(String::copy(certificate), String::copy(key));
        struct stat status {};
        ASSERT_EQ(::lstat(key.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode, S_IFREG | 0600U);
        EXPECT_EQ(verified("-verify_hostname", "gw.example"), 0);
        EXPECT_NE(verified("-verify_hostname", "other.example"), 0);
        EXPECT_EQ(verified("-verify_ip", "::1"), 0);
        EXPECT_EQ(nebrix::test::runProgram({"openssl", "x509", "-in", certificate, "-noout", "-pubkey"}).output,
                  nebrix::test::runProgram({"openssl", "pkey", "-in", key, "-pubout"}).output);
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
