// SPDX-License-Identifier: Apache-2.0
// An answer's header, as a hostile server may send it, and the cookies in it.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "libs/http/header.h"

using tessel::String;
using namespace tessel::http;

namespace {

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

void checkCookie(const SetCookie& cookie) {
    static_cast<void>(cookie.getNetscapeExpire(1000));
    try {
        const String line = cookie.toNetscapeFormat();
        require(std::count(line.begin(), line.end(), '\t') == 6);
        require(line.find('\n') == String::npos && line.find('\r') == String::npos);
        require(!line.starts("#"));
    } catch (const HeaderException&) {
        // What cannot be written safely is refused.
    }
}

void checkHeader(const ResponseHeader& header) {
    require(header.lines() <= Header::kMaxLines);
    require(header.getResponseCode() >= 0);
    try {
        static_cast<void>(header.contentLength());
    } catch (const EBadHeader&) {
        require(header.has("content-length"));
    }
    for (const SetCookie& cookie : header.cookies()) {
        require(!cookie.getName().empty());
        checkCookie(cookie);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const String text = String::copy(reinterpret_cast<const char*>(data), static_cast<unsigned>(size));
    ResponseHeader header(text.left('\n'));
    for (unsigned from = 0; from < text.length();) {
        const unsigned to = std::min(text.find('\n', from), text.length() - 1) + 1;
        header.addLine(text.range(from, to));
        from = to;
    }
    checkHeader(header);
    static_cast<void>(SetCookie::parseDate(text));
    return 0;
}
