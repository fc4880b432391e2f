// SPDX-License-Identifier: Apache-2.0
#include "libs/http/proxyroute.h"

#include <algorithm>

#include "libs/http/authority.h"
#include "libs/http/uri.h"

namespace tessel {
namespace {

struct Scheme {
    const char* name;
    const char* port;  // where none is named
    std::initializer_list<Proxy::Type> types;
};

const Scheme* schemeOf(const String& name) {
    static const Scheme kSchemes[] = {{"http", "80", {Proxy::Type::Http}},
                                      {"socks4", "1080", {Proxy::Type::Socks4}},
                                      {"socks5", "1080", {Proxy::Type::Socks5}},
                                      {"socks", "1080", {Proxy::Type::Socks5, Proxy::Type::Socks4}}};
    const auto* const found = std::ranges::find_if(kSchemes, [&](const Scheme& one) { return name == one.name; });
    return found == std::end(kSchemes) ? nullptr : found;
}

Credentials credentialsIn(const String& userInformation) {
    const unsigned colon = userInformation.find(':');
    if (colon == String::npos) {
        return {http::Uri::decode(userInformation), String()};
    }
    return {http::Uri::decode(userInformation.range(0, colon)),
            http::Uri::decode(userInformation.range(colon + 1, userInformation.length()))};
}

}  // namespace

String ProxyRoute::shown() const {
    if (proxy.getType() == Proxy::Type::None) {
        return "direct";
    }
    const String type = proxy.getType() == Proxy::Type::Http ? String("http") : proxy.getTypeString();
    return type + " " + proxy.getHost();
}

bool ProxyRoute::sameWay(const ProxyRoute& other) const {
    return proxy.getType() == other.proxy.getType() && proxy.getHost() == other.proxy.getHost();
}

bool addRoutes(std::vector<ProxyRoute>& routes, const String& answer) {
    if (answer == "direct://") {
        routes.emplace_back();
        return true;
    }
    // Never through Uri::parse(), which quotes in the log what it does not understand.
    const unsigned colon = answer.find("://");
    const Scheme* const scheme = colon == String::npos ? nullptr : schemeOf(answer.range(0, colon));
    if (scheme == nullptr || answer.view().find_first_of("\r\n \t\\") != std::string_view::npos) {
        return false;
    }
    const String rest = answer.range(colon + 3, answer.length());
    const http::Authority authority(rest.range(0, std::min(rest.find('/'), rest.length())));
    if (!authority.valid()) {
        return false;
    }
    String host = authority.getServer();
    if (authority.getPort().empty()) {
        host += String(":") + scheme->port;
    }
    for (const Proxy::Type type : scheme->types) {
        routes.push_back({Proxy(type, host, credentialsIn(authority.getUserInformation()))});
    }
    return true;
}

}  // namespace tessel
