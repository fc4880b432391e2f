// SPDX-License-Identifier: Apache-2.0
// Splitting and rebuilding URIs, their authorities, and percent-encoding, must hold on any bytes.

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "libs/http/authority.h"
#include "libs/http/uri.h"

using tessel::String;
using tessel::http::Authority;
using tessel::http::Uri;

namespace {

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

void checkUri(const String& text) {
    Uri uri;
    try {
        uri = Uri::parse(text);
    } catch (const tessel::http::EUri&) {
        // A line feed in the fragment, or too long.
        require(text.find('\n', text.find('#')) != String::npos || text.length() > Uri::kMaxLength);
        return;
    }
    const String full = uri.getFullUri();
    require(full.length() <= text.length());
    for (const String& name : uri.getParameterNames()) {
        require(uri.hasParameter(name));
    }
    uri.setParameter("clientversion", "1");
    require(uri.getParameter("clientversion") == "1");
    uri.delParameter("clientversion");
    require(!uri.hasParameter("clientversion"));
    static_cast<void>(uri.getFullUri());
}

void checkAuthority(const String& text) {
    const Authority authority(text);
    require(authority.getServer().length() <= text.length());
    if (authority.valid()) {
        require(!authority.getHost().empty());
        const Authority wire(authority.getAsciiServer());
        require(wire.valid() && wire.getPort() == authority.getPort());
        require(wire.getAsciiServer() == wire.getServer());
    }
    require(tessel::http::withoutUserInformation(text).find('@') == String::npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const String text = String::copy(reinterpret_cast<const char*>(data), static_cast<unsigned>(size));
    checkUri(text);
    checkAuthority(text);
    const String encoded = Uri::encode(text);
    require(Uri::decode(encoded) == text);
    require(Uri::encode(text, "/", "\n").length() <= encoded.length());
    static_cast<void>(Uri::decode(text));
    return 0;
}
