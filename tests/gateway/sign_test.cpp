#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <memory>
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

/// A key pair, made once, and a signed library of the test's own.
class Sign : public testing::Test {
protected:
    struct Result {
        int status;
        std::string output;
        std::string errors;
    };

    static Result call(const std::vector<std::string>& words) {
        std::ostringstream output;
        std::ostringstream errors;
        const int status = run(words, output, errors);
        return {status, output.str(), errors.str()};
    }

    static void SetUpTestSuite() {
        s_keys = std::make_unique<nebrix::test::TemporaryDirectory>();
        for (const char* name : {"own", "other"}) {
            ASSERT_EQ(call({"keygen", privateKey(name), publicKey(name)}).status, 0);
        }
    }
    static void TearDownTestSuite() { s_keys.reset(); }

    static std::string privateKey(const std::string& name = "own") { return s_keys->path(name + ".pem"); }
    static std::string publicKey(const std::string& name = "own") { return s_keys->path(name + ".pub"); }

    void SetUp() override {
        const Result signing =
            call({"sign", m_library, "--key", privateKey(), "--name", "tunnel <&>", "--version", "2.1"});
        ASSERT_EQ(signing.status, 0) << signing.errors;
    }

    Result verify(const std::string& key = publicKey()) const { return call({"verify", m_library, "--key", key}); }

    /// The text of one element of the signature file.
    std::string element(const std::string& name) const {
        const std::string text = readFile(m_library + ".sig");
        const auto from = text.find("<" + name + ">") + name.size() + 2;
        return text.substr(from, text.find("</" + name + ">") - from);
    }

    nebrix::test::TemporaryDirectory m_folder;
    std::string m_library = m_folder.write("libtunnel.so", "a library's bytes");

    static inline std::unique_ptr<nebrix::test::TemporaryDirectory> s_keys;
};

TEST_F(Sign, keygenKeepsThePrivateKeyPrivateAndReplacesNothing) {
    struct stat status {};
    ASSERT_EQ(::stat(privateKey().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
    const std::string before = readFile(privateKey());
    EXPECT_EQ(call({"keygen", privateKey(), m_folder.path("new.pub")}).status, 1);
    EXPECT_EQ(call({"keygen", m_folder.path("new.pem"), publicKey()}).status, 1);
    EXPECT_EQ(readFile(privateKey()), before);
    EXPECT_EQ(nebrix::test::listTree(m_folder.path()), "libtunnel.so\nlibtunnel.so.sig\n");

    writeFile(m_folder.path("old.pem"), "old");
    EXPECT_EQ(call({"keygen", "--force", m_folder.path("old.pem"), m_folder.path("old.pub")}).status, 0);
    EXPECT_NE(readFile(m_folder.path("old.pem")).find("PRIVATE KEY"), std::string::npos);
    EXPECT_EQ(call({"keygen", m_folder.path("nowhere/a"), m_folder.path("b")}).status, 1);
}

TEST_F(Sign, opensslFindsTheSignatureGood) {
    ASSERT_EQ(element("name"), "tunnel &lt;&amp;&gt;");
    writeFile(m_folder.path("content"), element("version") + "tunnel <&>" + element("signdate") + element("sha256"));
    writeFile(m_folder.path("signature.txt"), element("signature") + "\n");
    ASSERT_EQ(runProgram({"openssl", "base64", "-d", "-A", "-in", m_folder.path("signature.txt"), "-out",
                          m_folder.path("signature")})
                  .status,
              0);
    EXPECT_EQ(runProgram({"openssl", "dgst", "-sha1", "-verify", publicKey(), "-signature", m_folder.path("signature"),
                          m_folder.path("content")})
                  .output,
              "Verified OK\n");
    EXPECT_EQ(runProgram({"sh", "-c", "openssl dgst -sha256 -binary '" + m_library + "' | openssl base64"}).output,
              element("sha256") + "\n");
}

TEST_F(Sign, verifyTellsDigestFromSignature) {
    const std::string signature = m_library + ".sig";
    const std::string good = readFile(signature);
    const auto edit = [&](const std::string& name, const std::string& to) {
        std::string text = good;
        text.replace(text.find("<" + name + ">") + name.size() + 2, element(name).size(), to);
        return text;
    };
    const struct {
        const char* what;
        std::string library;
        std::string signatureFile;
        bool digest;
        bool signature;
    } cases[] = {
        {"untouched", "a library's bytes", good, true, true},
        {"altered by one byte", "a library's byteS", good, false, true},
        {"longer", "a library's bytes\n", good, false, true},
        {"version", "a library's bytes", edit("version", "2.2"), true, false},
        {"name", "a library's bytes", edit("name", "other"), true, false},
        {"signdate", "a library's bytes", edit("signdate", "today"), true, false},
        {"digest", "a library's bytes", edit("sha256", "AAAA"), false, false},
        {"no signature", "a library's bytes", edit("signature", ""), true, false},
        {"short signature", "a library's bytes", edit("signature", "AAAA"), true, false},
    };
    for (const auto& c : cases) {
        writeFile(m_library, c.library);
        writeFile(signature, c.signatureFile);
        const Result found = verify();
        EXPECT_NE(found.output.find(c.digest ? kDigestHolds : kDigestFails), std::string::npos) << c.what;
        EXPECT_NE(found.output.find(c.signature ? kSignatureHolds : kSignatureFails), std::string::npos) << c.what;
        EXPECT_EQ(found.status, c.digest && c.signature ? 0 : 1) << c.what;
    }
}

TEST_F(Sign, verifyRefusesOtherKeysAndBrokenFiles) {
    EXPECT_NE(verify(publicKey("other")).output.find(kSignatureFails), std::string::npos);
    EXPECT_EQ(verify(privateKey()).status, 1);
    EXPECT_EQ(verify(m_folder.path("nothing.pub")).status, 1);
    writeFile(m_library + ".sig", "<dll><version>1</version></dll>");
    EXPECT_EQ(verify().status, 1);
    std::filesystem::remove(m_library + ".sig");
    const Result missing = verify();
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.errors, "nebrix-sign: the signature file is missing or cannot be read as one\n");
}

TEST_F(Sign, packAnnouncesWhatItPacked) {
    const std::string archive = m_folder.path("tunnel.zip");
    const Result packed = call({"pack", m_library, "--version", "2.1", "--output", archive, "--urlpath", "/f/\"x\"/"});
    ASSERT_EQ(packed.status, 0) << packed.errors;
    json::JSONWrapperFromString announced(String::copy(packed.output));
    const std::pair<const char*, std::string> expected[] = {
        {"filename", "tunnel.zip"}, {"md5", runProgram({"md5sum", archive}).output.substr(0, 32)},
        {"urlpath", "/f/\"x\"/"},   {"pattern", "libtunnel.so"},
        {"version", "2.1"},
    };
    for (const auto& [key, value] : expected) {
        EXPECT_EQ(announced[key].asString(), value.c_str()) << key;
    }
    EXPECT_EQ(runProgram({"unzip", "-Z1", archive}).output, "libtunnel.so\nlibtunnel.so.sig\n");
    EXPECT_EQ(runProgram({"unzip", "-p", archive, "libtunnel.so"}).output, "a library's bytes");

    const std::string refused = m_folder.write("it's.so", "x");
    EXPECT_EQ(call({"sign", refused, "--key", privateKey()}).status, 0);
    EXPECT_EQ(call({"pack", refused, "--output", archive}).status, 1);
}

TEST_F(Sign, wrongCommandLinesAreStatus2) {
    const std::vector<std::vector<std::string>> wrong = {{},
                                                         {"other"},
                                                         {"sign"},
                                                         {"sign", m_library},
                                                         {"verify", m_library, "--key"},
                                                         {"keygen", "a"},
                                                         {"pack", "a", "b"}};
    for (const auto& words : wrong) {
        const Result result = call(words);
        EXPECT_EQ(result.status, 2);
        EXPECT_NE(result.errors, "");
        EXPECT_EQ(result.output, "");
    }
    for (const auto& words : {std::vector<std::string>{"--help"}, {"--version"}, {"sign", "--help"}}) {
        EXPECT_EQ(call(words).status, 0);
    }
}

}  // namespace
}  // namespace tessel::sign
