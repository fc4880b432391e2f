// SPDX-License-Identifier: Apache-2.0
// Any bytes through both directions of Base64: what was encoded comes back as it was, and what any text decodes to
// survives a second round.

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "libs/base/base64.h"

using tessel::Base64;
using tessel::Memory;
using tessel::String;

namespace {

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto* bytes = reinterpret_cast<const char*>(data);
    const auto length = static_cast<unsigned>(size);

    const String encoded = Base64::encode(bytes, length);
    require(encoded.length() == Base64::sizeEncode(length));
    require(Base64::decode(encoded).view() == std::string_view(bytes, size));

    const Memory decoded = Base64::decode(bytes, length);
    require(decoded.length() <= Base64::sizeDecode(length));
    require(Base64::decode(Base64::encode(decoded)) == decoded);
    return 0;
}
