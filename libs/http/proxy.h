// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/confhelper.h"
#include "libs/base/string.h"
#include "libs/http/credentials.h"

namespace tessel {

/// Which proxy a request takes. A plain value, not synchronised.
class Proxy final : public IConf {
public:
    using IConf::read;
    using IConf::write;

    enum class Type : int { Socks4 = 0, Socks5 = 1, Http = 2, None = 3 };

    /// Type none.
    Proxy() = default;
    Proxy(Type type, const String& host, const Credentials& credentials)
        : m_type(type), m_host(host), m_credentials(credentials) {}

    [[nodiscard]] Type getType() const noexcept { return m_type; }
    /// Host name or address, with ":port" where the port is not libcurl's default (1080).
    [[nodiscard]] String getHost() const { return m_host; }
    [[nodiscard]] Credentials getCredentials() const { return m_credentials; }
    void setType(Type type) noexcept { m_type = type; }
    void setHost(const String& host) { m_host = host; }
    void setCredentials(const Credentials& credentials) { m_credentials = credentials; }

    /// The type's name: "socks4", "socks5", "https" (deliberately, for http) or "none".
    [[nodiscard]] String computeType() const;
    [[nodiscard]] String getTypeString() const { return computeType(); }
    /// The type of a name, in lower case: "no-proxy", "no", "none"; "socks4"; "sock5" (deliberately only this
    /// spelling); "connect", "https", "http". Any other name gives none.
    static Type computeType(const String& name);

    /// Keys "type" (a name as above, required), "host" and "credentials" (optional).
    void keywrite(IKeyReader& reader) override;
    void read(IKeyWriter& writer) const override;

private:
    Type m_type = Type::None;
    String m_host;
    Credentials m_credentials;
};

}  // namespace tessel
