#include <tessel/base/base64.h>
#include <tessel/openssl/digest.h>
#include <tessel/openssl/rsa_wrapper.h>

#include "expect.h"

using tessel::Memory;
using tessel::String;

int main() {
    tessel::tls::SHA256 digest;
    for (const char* const piece : {"a", "b", "c"}) {
        digest.feed(String(piece));
    }
    const String hex = digest.result().toHex();
    expect(hex.starts("ba7816bf8f01cfea414140de5dae2223") && hex.length() == 64);

    tessel::tls::RSA signer;
    signer.generate(2048);
    const Memory letter = String("ten crowns to Ada");
    const Memory signature = signer.sign(letter.array(), letter.length());
    const String sent = tessel::Base64::encode(signature);

    tessel::tls::RSA verifier;  // has the public half only
    expect(verifier.loadFromMem(signer.publicPem().str(), nullptr, true) == 1);
    const Memory received = tessel::Base64::decode(sent);
    expect(verifier.verify(letter.array(), letter.length(), received) > 0);
    const Memory forged = String("ten crowns to Eve");
    expect(verifier.verify(forged.array(), forged.length(), received) <= 0);
}
