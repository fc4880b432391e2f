// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/signeddll.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "generated/component_public_key.h"
#include "libs/base/file.h"
#include "tests/support/systemlogcapture.h"
#include "tests/support/temporarydirectory.h"

namespace tessel::test {
namespace {

/// A library and its signature by a key that the test knows.
class SignatureTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        ASSERT_EQ(s_key.loadFromMem(nebrix::test::readFile(NEBRIX_TEST_KEY).c_str(), "", false), 1);
    }

    SignatureTest() : m_library(m_directory.write("liba.so", "not really code\n")), m_signature(m_library + ".sig") {
        sign();
    }

    void sign() const {
        SignedDll component;
        component.version = "2.1";
        component.name = "tunnel";
        component.compute(s_key, String::copy(m_library));
        component.save(String::copy(m_signature));
    }

    [[nodiscard]] bool verify(bool withKey = true) {
        tls::RSA publicKey;
        EXPECT_EQ(publicKey.loadFromMem(withKey ? s_key.publicPem().str() : "", "", true), withKey ? 1 : 0);
        SignedDll component;
        component.loadFromFile(String::copy(m_signature));
        return component.verify(publicKey, String::copy(m_library));
    }

    /// Replaces what stands between <key> and </key> in the signature file.
    void edit(const std::string& key, const std::function<std::string(std::string)>& change) const {
        std::string text = nebrix::test::readFile(m_signature);
        const std::size_t from = text.find("<" + key + ">") + key.length() + 2;
        const std::size_t to = text.find("</" + key + ">");
        ASSERT_NE(to, std::string::npos);
        text.replace(from, to - from, change(text.substr(from, to - from)));
        nebrix::test::writeFile(m_signature, text);
    }

    nebrix::test::TemporaryDirectory m_directory;
    const std::string m_library;
    const std::string m_signature;
    nebrix::test::SystemLogCapture m_log;
    static tls::RSA s_key;
};

tls::RSA SignatureTest::s_key;

TEST_F(SignatureTest, aGenuineLibraryPasses) {
    EXPECT_TRUE(verify());
    edit("signature",
         [](const std::string& text) { return "\n" + text.substr(0, 64) + "\r\n " + text.substr(64) + "\n"; });
    EXPECT_TRUE(verify());
    EXPECT_FALSE(verify(false)) << "without a key";
}

TEST_F(SignatureTest, everyEditedFieldFailsInItsOwnWay) {
    const auto append = [](const std::string& text) { return text + "x"; };
    const auto swapCase = [](std::string text) {
        for (char& c : text) {
            c = static_cast<char>(std::islower(c) ? std::toupper(c) : std::tolower(c));
        }
        return text;
    };
    const auto breakLine = [](const std::string& text) { return text.substr(0, 20) + "\n" + text.substr(20); };
    // The last character before the padding carries four bits that no byte takes.
    const auto lastBits = [](std::string text) {
        char& last = text[text.find_last_not_of('=')];
        last = static_cast<char>(last == 'z' ? 'y' : last + 1);
        return text;
    };
    const auto empty = [](const std::string&) { return std::string(); };
    const std::tuple<const char*, std::function<std::string(std::string)>, const char*> edits[] = {
        {"sha256", swapCase, "bad hash "},
        {"sha256", breakLine, "bad hash "},
        {"signature", empty, "bad signature"},
        {"signature", append, "bad signature"},
        {"signature", lastBits, "bad signature"}};
    for (const auto& [key, change, words] : edits) {
        sign();
        m_log.clear();
        edit(key, change);
        EXPECT_FALSE(verify()) << key;
        EXPECT_TRUE(m_log.contains(words)) << key;
    }
}

TEST_F(SignatureTest, fieldsThatRunIntoEachOtherAreSignedAsTheirSum) {
    // What is signed is the plain concatenation: the pin of a deliberate oddity.
    edit("version", [](const std::string&) { return std::string("2.1tun"); });
    edit("name", [](const std::string&) { return std::string("nel"); });
    EXPECT_TRUE(verify());
    // But for the date, whose place its form tells.
    edit("name", [](const std::string&) { return std::string("nel2"); });
    edit("signdate", [](const std::string& date) { return date.substr(1); });
    EXPECT_FALSE(verify());
    EXPECT_TRUE(m_log.contains("bad signature"));
}

TEST_F(SignatureTest, everyUnusableSignatureFileHasItsLine) {
    const std::tuple<const char*, const char*, int> cases[] = {
        {nullptr, "Missing signature file: ", 74},
        {"<dll><version>1</version><name>n</name><signdate>d</signdate><sha256>h</sha256></dll>",
         "Error while parsing signature", 84},
        {"<other/>", "Error while parsing signature", 84},
        {"no markup", "Error while parsing signature", 87},
        {"<dll", "Error while parsing signature", 87}};
    File::remove(String::copy(m_signature));
    for (const auto& [text, words, line] : cases) {
        if (text != nullptr) {
            nebrix::test::writeFile(m_signature, text);
        }
        m_log.clear();
        SignedDll component;
        try {
            component.loadFromFile(String::copy(m_signature));
            ADD_FAILURE() << words;
        } catch (const EBadSignature& caught) {
            EXPECT_EQ(caught.toString().view(), "EBadSignature:signeddll:" + std::to_string(line));
        }
        EXPECT_TRUE(m_log.contains(std::string("ERROR SignedDll.loadFromFile ") + words)) << line;
    }
}

TEST_F(SignatureTest, theCompiledInKeyDecides) {
    ASSERT_TRUE(kComponentPublicKeyIsDevelopment);
    const auto decide = [this] { verifyDllSignature(String::copy(m_library), String::copy(m_signature)); };
    const VerifiedComponent component = verifyDllSignature(String::copy(m_library), String::copy(m_signature));
    EXPECT_EQ(component.infos.version, "2.1");
    nebrix::test::writeFile(m_library, "exchanged since");
    EXPECT_EQ(nebrix::test::readFile(component.sealed.openPath().str()), "not really code\n");
    EXPECT_THAT(decide, testing::Throws<EBadSignature>());
    sign();
    edit("version", [](const std::string&) { return std::string("2.2"); });
    EXPECT_THAT(decide, testing::Throws<EBadSignature>(
                            testing::Property(&Exception::toString, String("EBadSignature:client:78"))));
}

}  // namespace
}  // namespace tessel::test
