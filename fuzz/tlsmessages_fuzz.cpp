// SPDX-License-Identifier: Apache-2.0
// A server's messages before anything of it is believed, and the certificate in them.

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "libs/curl/tlsmessages.h"
#include "libs/openssl/peercertificate.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    tessel::TlsMessages messages;
    messages.received(data, size);
    if (messages.certificate().length() > size || (messages.closed() && size != 2)) {
        std::abort();
    }
    for (const auto& der : {messages.certificate(), tessel::Memory::copy(data, static_cast<unsigned>(size))}) {
        if (const auto facts = tessel::tls::PeerCertificate::describe(der, 18, "gw.example"); facts != nullptr) {
            for (const tessel::String& text : {facts->subject, facts->issuer}) {
                if (text.find('\n') != tessel::String::npos || text.find('\0') != tessel::String::npos) {
                    std::abort();
                }
            }
        }
    }
    return 0;
}
