// SPDX-License-Identifier: Apache-2.0
#include "libs/http/proxy.h"

namespace tessel {

String Proxy::computeType() const {
    switch (m_type) {
        case Type::Socks4:
            return "socks4";
        case Type::Socks5:
            return "socks5";
        case Type::Http:
            return "https";
        case Type::None:
            break;
    }
    return "none";
}

Proxy::Type Proxy::computeType(const String& name) {
    if (name == "socks4") {
        return Type::Socks4;
    }
    if (name == "sock5") {
        return Type::Socks5;
    }
    if (name == "connect" || name == "https" || name == "http") {
        return Type::Http;
    }
    return Type::None;
}

void Proxy::keywrite(IKeyReader& reader) {
    String name;
    ConfReadHelper::readKey(reader, "type", name, true);
    m_type = computeType(name);
    ConfReadHelper::readKey(reader, "host", m_host, false);
    ProtectedCredentials credentials(m_credentials);
    if (ConfReadHelper::readKey(reader, "credentials", credentials, false)) {
        m_credentials = credentials;
    }
}

void Proxy::read(IKeyWriter& writer) const {
    // Under a name that loading understands, which "socks5" is not.
    writer["type"].write(m_type == Type::Socks5 ? String("sock5") : computeType());
    writer["host"].write(m_host);
    writer["credentials"].write(ProtectedCredentials(m_credentials));
}

}  // namespace tessel
