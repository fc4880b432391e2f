#include "libs/openssl/digest.h"

#include <gtest/gtest.h>

using namespace tessel;

namespace {

TEST(Digest, KnownAnswers) {
    // FIPS 180-4 and RFC 1321 examples.
    const char* cases[][3] = {{"md5", "", "d41d8cd98f00b204e9800998ecf8427e"},
                              {"MD5", "abc", "900150983cd24fb0d6963f7d28e17f72"},
                              {"sha1", "abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
                              {"sha256", "abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"}};
    for (const auto& [name, text, wanted] : cases) {
        tls::EVPDigest digest(name);
        // Twice: a result starts the digest anew. The second time byte by byte.
        digest.feed(String(text));
        EXPECT_EQ(digest.result().toHex(), wanted);
        for (const char* byte = text; *byte != '\0'; ++byte) {
            digest.feed(byte, 1);
        }
        EXPECT_EQ(digest.result().toHex(), wanted);
    }
    EXPECT_THROW(tls::EVPDigest("sha3000"), tls::EEVPDigest);
}

}  // namespace
