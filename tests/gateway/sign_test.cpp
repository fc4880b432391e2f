// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "apps/nebrix-sign/commands.h"
#include "tests/support/childprocess.h"
#include "tests/support/temporarydirectory.h"

namespace tessel::sign {
namespace {

using nebrix::test::readFile;
using nebrix::test::runProgram;
using nebrix::test::writeFile;

constexpr const char* kProgram = NEBRIX_TEST_BIN "/nebrix-sign";
constexpr const char* kDigestHolds = "digest: matches the library\n";
constexpr const char* kDigestFails = "digest: does not match: the library is not the one that was signed\n";
constexpr const char* kSignatureHolds = "signature: made with this key\n";
constexpr const char* kSignatureFails = "signature: does not hold: another key made it, or a signed value was edited\n";

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

/// A key pair and a component that is signed with it.
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
    const std::string m_bytes = readFile(NEBRIX_COMPONENTS "/libnebrix-tunnel.so");
    const std::string m_library = m_folder.write("libtunnel.so", m_bytes);
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

TEST_F(Sign, verifyTellsWhatDoesNotHold) {
    EXPECT_EQ(verify(m_public).status, 0);
    ASSERT_EQ(call({"keygen", m_folder.path("other.pem"), m_folder.path("other.pub")}).status, 0);
    const Result foreign = verify(m_folder.path("other.pub"));
    EXPECT_EQ(foreign.output, std::string(kDigestHolds) + kSignatureFails);
    EXPECT_EQ(foreign.status, 1);
    writeFile(m_library, m_bytes + "\n");
    const Result altered = verify(m_public);
    EXPECT_EQ(altered.output, std::string(kDigestFails) + kSignatureHolds);
    EXPECT_EQ(altered.status, 1);
    EXPECT_EQ(verify(m_private).status, 1);
    writeFile(m_library + ".sig", "<dll><version>1</version></dll>");
    EXPECT_EQ(verify(m_public).errors, "nebrix-sign: " + m_library + ".sig is no signature file\n");
    std::filesystem::remove(m_library + ".sig");
    EXPECT_EQ(verify(m_public).errors, "nebrix-sign: cannot read " + m_library + ".sig: No such file or directory\n");
}

TEST_F(Sign, signRefusesWhatNoClientCouldDrive) {
    const std::string machO = "\xCF\xFA\xED\xFE" + std::string("87654321") + '\6' + std::string(3, '\0');
    const std::string hostChecker = readFile(NEBRIX_COMPONENTS "/libnebrix-hostchecker.so");
    std::string executable = m_bytes;
    executable[16] = 2;  // ET_EXEC
    const std::string calling = m_folder.path("calling.so");
    const std::string compile = "echo 'void DllStart2(void*); void f(void) { DllStart2(0); }' | cc -xc -shared -o '";
    ASSERT_EQ(runProgram({"sh", "-c", compile + calling + "' -"}).status, 0);
    const std::string withoutTunnel = readFile(NEBRIX_COMPONENTS "/libnebrix-notunnel.so");
    // The library's bytes, its type, words of the error or of the warning, and the status.
    const std::tuple<std::string, std::string, std::string, int> cases[] = {
        {"a library's bytes", "plugindll", " is no shared library", 1},
        {"", "plugindll", " is no shared library", 1},
        {executable, "", " is no shared library", 1},
        {readFile(kProgram), "", " has no entry of a component", 1},
        {readFile(calling), "", " has no entry of a component", 1},
        {m_bytes.substr(0, m_bytes.size() / 2), "", "", 1},
        {m_bytes, "plugindllnotunnel", " lacks required entries: LaunchSafeResource (", 1},
        {m_bytes, "hostchecker", "InitHostCheckerDll, CloseHostCheckerDll, GetValidRules (", 1},
        {hostChecker, "plugindll",
         " lacks required entries: DllCreatePluginFrontal, DllSetDllVersion2, DllSetPluginDir2, DllSetLogin2, "
         "DllSetOrganization2, DllSetHostname2, DllSetServer2, DllSetSuffix2, DllSetTicket2, DllSetSessionId2, "
         "DllSetCertDirectory2, DllSetCertFileName2, DllSetCaFileName2, DllSetCertPassword2, "
         "DllSetDownloadDelegate2, DllSetProxy2, DllGetLogs2, DllExecute2, DllGetErrors2, DllStart2, DllStop2, "
         "DllReleaseStr (",
         1},
        {m_bytes, "tunnel", "option --type needs", 2},
        {withoutTunnel, "plugindllnotunnel", "", 0},
        {hostChecker, "hostchecker", "", 0},
        {hostChecker, "", "", 0},
        {machO, "", " is a Mach-O library, whose entries are not looked at", 0}};
    for (const auto& [bytes, type, said, status] : cases) {
        writeFile(m_library, bytes);
        std::vector<std::string> words{"sign", m_library, "--key", m_private};
        if (!type.empty()) {
            words.insert(words.end(), {"--type", type});
        }
        const Result result = call(words);
        EXPECT_EQ(result.status, status) << type << said << result.errors;
        EXPECT_NE(result.errors.find(said), std::string::npos) << result.errors;
        EXPECT_EQ(result.errors.empty(), said.empty() && status == 0) << result.errors;
        words.emplace_back("--force");
        EXPECT_EQ(call(words).status, status == 2 ? 2 : 0) << type << said;
    }
    EXPECT_EQ(verify(m_public).status, 0);
    for (const auto& [version, name] : {std::pair("1.0", "2fa"), {"1.0", ".x"}, {"1.0b", "x"}, {"1.0", ""}}) {
        const auto said =
            call({"sign", m_library, "--key", m_private, "--force", "--version", version, "--name", name});
        EXPECT_NE(said.errors.find("warning: the signature will hold"), std::string::npos) << version << name;
    }
    std::filesystem::resize_file(m_library, 4ULL << 30);
    EXPECT_NE(call({"sign", m_library, "--key", m_private}).errors.find(" has 4 GiB or more"), std::string::npos);
}

TEST_F(Sign, anEncryptedKeyIsOpenedByItsPasswordAlone) {
    const std::string program = std::string("SIGN=") + kProgram + " sign libtunnel.so --key e.pem";
    const auto shell = [&](const std::string& command) {
        return runProgram({"env", "-C", m_folder.path(), program, "sh", "-c", command});
    };
    for (const char* encryption : {"openssl pkcs8 -topk8 -passout pass:secret -in own.pem -out e.pem",
                                   "openssl rsa -traditional -aes256 -passout pass:secret -in own.pem -out e.pem"}) {
        ASSERT_EQ(shell(encryption).status, 0);
        EXPECT_EQ(shell("printf 'secret\\nno password' > p; $SIGN --password-file p").status, 0);
        EXPECT_EQ(shell("echo guess > p; $SIGN --password-file p").errors,
                  "nebrix-sign: the password does not open the encrypted key e.pem\n");
        // Standard input is no terminal; then one that is typed on.
        const auto without = shell("echo secret | setsid --wait $SIGN");
        EXPECT_NE(without.errors.find("e.pem is an encrypted key: "), std::string::npos) << without.errors;
        writeFile(m_library + ".sig", "");
        const auto typed = shell("echo secret | script -qec \"$SIGN\" /dev/null");
        EXPECT_EQ(typed.status, 0) << typed.output;
        EXPECT_EQ(verify(m_public).status, 0);
    }
}

TEST_F(Sign, digestsThatAreForbiddenAreNamed) {
    const std::string policy = m_folder.write("openssl.cnf",
                                              "openssl_conf = all\n[all]\nalg_section = algorithms\n"
                                              "[algorithms]\ndefault_properties = fips=yes\n");
    for (const auto& [command, digests] :
         {std::pair("sign", "SHA256, SHA1,"), {"verify", "SHA256, SHA1,"}, {"pack", "SHA256, SHA1, MD5,"}}) {
        const auto result = runProgram({"env", "OPENSSL_CONF=" + policy, kProgram, command, m_library, "--key",
                                        command == std::string("sign") ? m_private : m_public});
        EXPECT_EQ(result.status, 1);
        EXPECT_NE(result.errors.find(std::string(" forbids ") + digests), std::string::npos) << result.errors;
    }
}

TEST_F(Sign, packAnnouncesWhatItPacked) {
    const std::string archive = m_folder.path("tunnel.zip");
    const Result packed =
        call({"pack", m_library, "--key", m_public, "--output", archive, "--urlpath", "/f/\"x\"/", "--version", "2.1"});
    ASSERT_EQ(packed.status, 0) << packed.errors;
    EXPECT_EQ(call({"pack", m_library, "--output", archive, "--urlpath", "/f/\"x\"/"}).output, packed.output);
    EXPECT_EQ(packed.output, "{\n\t\"filename\" : \"tunnel.zip\",\n\t\"md5\" : \"" +
                                 runProgram({"md5sum", archive}).output.substr(0, 32) +
                                 "\",\n\t\"pattern\" : \"libtunnel.so\",\n\t\"urlpath\" : \"/f/\\\"x\\\"/\",\n"
                                 "\t\"version\" : \"2.1\"\n}\n");
    EXPECT_EQ(runProgram({"unzip", "-Z1", archive}).output, "libtunnel.so\nlibtunnel.so.sig\n");
    EXPECT_EQ(runProgram({"unzip", "-p", archive, "libtunnel.so"}).output, m_bytes);
    EXPECT_NE(runProgram({"unzip", "-ZT", archive}).output.find(" defN 19800101.000000 libtunnel.so\n"),
              std::string::npos);
}

TEST_F(Sign, packRefusesWhatClientsWould) {
    ASSERT_EQ(call({"keygen", m_folder.path("other.pem"), m_folder.path("other.pub")}).status, 0);
    const auto refusal = [&](const std::vector<std::string>& more) {
        std::vector<std::string> words{"pack", m_library, "--output", m_folder.path("a.zip")};
        words.insert(words.end(), more.begin(), more.end());
        const Result result = call(words);
        EXPECT_EQ(result.status, 1);
        EXPECT_FALSE(std::filesystem::exists(m_folder.path("a.zip")));
        return result.errors;
    };
    EXPECT_EQ(refusal({"--version", "2.10"}), "nebrix-sign: version \"2.10\" cannot be announced: \"2.1\" is signed\n");
    EXPECT_NE(refusal({"--key", m_folder.path("other.pub")}).find(" does not hold: "), std::string::npos);
    writeFile(m_library, m_bytes + "\n");
    EXPECT_EQ(refusal({}),
              "nebrix-sign: " + m_library + " is not the library that " + m_library + ".sig was made for\n");
    const std::string name = m_folder.write("it's.so", m_bytes);
    ASSERT_EQ(call({"sign", name, "--key", m_private}).status, 0);
    EXPECT_EQ(call({"pack", name, "--output", m_folder.path("a.zip")}).status, 1);
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
