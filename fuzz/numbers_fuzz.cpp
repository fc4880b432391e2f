// SPDX-License-Identifier: Apache-2.0
// Any text as a number: the first byte chooses the base, and every form must agree with the others about its low bits.
// Numbers that were written must be read back.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "libs/base/numbers.h"

using tessel::String;

namespace {

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

void readInAllForms(const String& text, int base) {
    const unsigned long widest = tessel::toUint64(text, base);
    require(tessel::toLong(text, base) == static_cast<long>(widest));
    require(tessel::toUint32(text, base) == static_cast<unsigned>(widest));
    require(tessel::toInt32(text, base) == static_cast<int>(widest));
    require(tessel::toUint16(text, base) == static_cast<unsigned short>(widest));
    require(tessel::toInt16(text, base) == static_cast<short>(widest));
    require(tessel::toUint32(text.clone().str(), base) == static_cast<unsigned>(widest));
    require(tessel::toUint64(tessel::toString(widest)) == widest);
    require(tessel::toInt32(tessel::toString(static_cast<int>(widest))) == static_cast<int>(widest));
    require(tessel::hexToUint32(tessel::uint32ToHex(static_cast<unsigned>(widest))) == static_cast<unsigned>(widest));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    // Byte 0 gives base 0, and so on up to 39; 10 and 16 are thereby "\n" and "\x10".
    const int base = data[0] % 40;
    const auto* bytes = reinterpret_cast<const char*>(data + 1);
    const auto length = static_cast<unsigned>(size - 1);
    // A copy that nothing follows: reading behind it is seen.
    const std::vector<char> exact(bytes, bytes + length);
    const int strict = tessel::smartIntConversion(exact.data(), length, -1);
    // Views end at their length: no byte behind it is a digit of the number.
    const String text = String::copy(bytes, length);
    readInAllForms(text, base);
    if (strict != -1) {
        require(strict == tessel::toInt32(text));
    }
    return 0;
}
