#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <sstream>

#include "apps/nebrix-sign/commands.h"
#include "libs/json/jsonwrapper.h"
#include "tests/support/childprocess.h"
#include "tests/support/temporarydirectory.h"

namespace tessel::sign {
namespace {

using nebrix::test::readFile;
using nebrix::test::runProgram;
using nebrix::test::writeFile;

constexpr const char* kDigestHolds = "digest: matches the library\n";
constexpr const char* kDigestFails = "digest: does not match";
constexpr const char* kSignatureHolds = "signature: made with this key\n";
constexpr const char* kSignatureFails = "signature: does not hold";

struct Result {
    int status;
    std::string output;
    std::string errors;
};

Result call(const std::vector<std::string>& words) {
    std::ostringstream output;
    std::ostringstream errors;
    const int status = run(words, output, errors);
    return {status, output.str(), errors.str()};
}

/// A key pair and a library that is signed with it.
class Sign : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(call({"keygen", m_private, m_public}).status, 0);
        const Result signing =
            call({"sign", m_library, "--key", m_private, "--name", "tunnel <&>", "--version", "2.1"});
        ASSERT_EQ(signing.status, 0) << signing.errors;
    }

    Result verify(const std::string& key) const { return call({"verify", m_library, "--key", key}); }

    nebrix::test::TemporaryDirectory m_folder;
    std::string m_library = m_folder.write("libtunnel.so", "a library's bytes");
    std::string m_private = m_folder.path("own.pem");
    std::string m_public = m_folder.path("own.pub");
};

TEST_F(Sign, keygenKeepsThePrivateKeyPrivateAndReplacesNothing) {
    EXPECT_EQ(std::filesystem::status(m_private).permissions(), std::filesystem::perms(0600));
    const std::string before = readFile(m_private);
    EXPECT_EQ(call({"keygen", m_private, m_folder.path("new.pub")}).status, 1);
    EXPECT_EQ(call({"keygen", m_folder.path("new.pem"), m_public}).status, 1);
    EXPECT_EQ(call({"keygen", m_folder.path("nowhere/a"), m_folder.path("b")}).status, 1);
    EXPECT_EQ(readFile(m_private), before);
    EXPECT_EQ(nebrix::test::listTree(m_folder.path()), "libtunnel.so\nlibtunnel.so.sig\nown.pem\nown.pub\n");
    EXPECT_EQ(call({"keygen", "--force", m_private, m_public}).status, 0);
    EXPECT_NE(readFile(m_private), before);
}

TEST_F(Sign, opensslFindsTheSignatureGood) {
    const auto element = [text = readFile(m_library + ".sig")](const std::string& name) {
        const auto from = text.find("<" + name + ">") + name.size() + 2;
        return text.substr(from, text.find("</" + name + ">") - from);
    };
    ASSERT_EQ(element("name"), "tunnel &lt;&amp;&gt;");
    m_folder.write("content", element("version") + "tunnel <&>" + element("signdate") + element("sha256"));
    m_folder.write("signature", element("signature"));
    const std::string decode = "cd '" + m_folder.path() + "' && openssl base64 -d -A -in signature -out decoded && ";
    const std::string check = "openssl dgst -sha1 -verify '" + m_public + "' -signature decoded content && ";
    const std::string digest = "openssl dgst -sha256 -binary libtunnel.so | openssl base64";
    EXPECT_EQ(runProgram({"sh", "-c", decode + check + digest}).output, "Verified OK\n" + element("sha256") + "\n");
}

TEST_F(Sign, verifyTellsDigestFromSignature) {
    // What is replaced in the library, or in its signature file.
    const struct {
        const char* file;
        const char* pattern;
        const char* text;
        const char* digest;
        const char* signature;
    } cases[] = {
        {"", "bytes", "bytes", kDigestHolds, kSignatureHolds},
        {"", "bytes", "byteS", kDigestFails, kSignatureHolds},
        {"", "bytes", "bytes\n", kDigestFails, kSignatureHolds},
        {".sig", "<version>[^<]*", "<version>2.2", kDigestHolds, kSignatureFails},
        {".sig", "<name>[^<]*", "<name>other", kDigestHolds, kSignatureFails},
        {".sig", "<signdate>[^<]*", "<signdate>today", kDigestHolds, kSignatureFails},
        {".sig", "<sha256>[^<]*", "<sha256>AAAA", kDigestFails, kSignatureFails},
        {".sig", "<signature>[^<]*", "<signature>", kDigestHolds, kSignatureFails},
        {".sig", "<signature>[^<]*", "<signature>AAAA", kDigestHolds, kSignatureFails},
    };
    for (const auto& c : cases) {
        const std::string good = readFile(m_library + c.file);
        writeFile(m_library + c.file, std::regex_replace(good, std::regex(c.pattern), c.text));
        const Result found = verify(m_public);
        writeFile(m_library + c.file, good);
        EXPECT_NE(found.output.find(c.digest), std::string::npos) << c.text;
        EXPECT_NE(found.output.find(c.signature), std::string::npos) << c.text;
        EXPECT_EQ(found.status, c.digest == kDigestHolds && c.signature == kSignatureHolds ? 0 : 1) << c.text;
    }
}

TEST_F(Sign, verifyRefusesOtherKeysAndBrokenFiles) {
    ASSERT_EQ(call({"keygen", m_folder.path("other.pem"), m_folder.path("other.pub")}).status, 0);
    EXPECT_NE(verify(m_folder.path("other.pub")).output.find(kSignatureFails), std::string::npos);
    EXPECT_EQ(verify(m_private).status, 1);
    EXPECT_EQ(verify(m_folder.path("nothing.pub")).status, 1);
    writeFile(m_library + ".sig", "<dll><version>1</version></dll>");
    EXPECT_EQ(verify(m_public).status, 1);
    std::filesystem::remove(m_library + ".sig");
    EXPECT_EQ(verify(m_public).errors, "nebrix-sign: the signature file is missing or cannot be read as one\n");
}

TEST_F(Sign, packAnnouncesWhatItPacked) {
    const std::string archive = m_folder.path("tunnel.zip");
    const Result packed = call({"pack", m_library, "--version", "2.1", "--output", archive, "--urlpath", "/f/\"x\"/"});
    ASSERT_EQ(packed.status, 0) << packed.errors;
    json::JSONWrapperFromString announced(String::copy(packed.output));
    const auto text = [&](const char* key) { return announced[key].asString(); };
    EXPECT_EQ(text("filename"), "tunnel.zip");
    EXPECT_EQ(text("urlpath"), "/f/\"x\"/");
    EXPECT_EQ(text("pattern"), "libtunnel.so");
    EXPECT_EQ(text("version"), "2.1");
    EXPECT_EQ(text("md5"), runProgram({"md5sum", archive}).output.substr(0, 32).c_str());
    EXPECT_EQ(runProgram({"unzip", "-Z1", archive}).output, "libtunnel.so\nlibtunnel.so.sig\n");
    EXPECT_EQ(runProgram({"unzip", "-p", archive, "libtunnel.so"}).output, "a library's bytes");

    const std::string refused = m_folder.write("it's.so", "x");
    EXPECT_EQ(call({"sign", refused, "--key", m_private}).status, 0);
    EXPECT_EQ(call({"pack", refused, "--output", archive}).status, 1);
}

TEST_F(Sign, wrongCommandLinesAreStatus2) {
    for (const auto& words : {std::vector<std::string>(), {"other"}, {"sign", m_library}, {"keygen", "a"}}) {
        EXPECT_EQ(call(words).status, 2);
        EXPECT_NE(call(words).errors, "");
    }
    EXPECT_EQ(call({"sign", "--help"}).status, 0);
}

}  // namespace
}  // namespace tessel::sign
