// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/confhelper.h"
#include "libs/base/string.h"

namespace tessel {

/// Login, password and domain, as they were given. A plain value, not synchronised.
class Credentials {
public:
    Credentials() = default;
    Credentials(const String& login, const String& password, const String& domain = String())
        : m_login(login), m_password(password), m_domain(domain) {}

    [[nodiscard]] String getLogin() const { return m_login; }
    [[nodiscard]] String getPassword() const { return m_password; }
    [[nodiscard]] String getDomain() const { return m_domain; }
    void setLogin(const String& login) { m_login = login; }
    void setPassword(const String& password) { m_password = password; }
    void setDomain(const String& domain) { m_domain = domain; }

    /// "domain\login" when asked for and the domain is not empty, else the login alone.
    [[nodiscard]] String getDomainLogin(bool withDomain) const;
    /// Splits at the first backslash; without one the text is the login and the domain is empty. Setting what
    /// getDomainLogin(true) gave changes nothing, unless a login without domain holds a backslash itself.
    void setDomainLogin(const String& text);

private:
    String m_login;
    String m_password;
    String m_domain;
};

/// Credentials that can be saved: keys "login", "password" and "domain". Deliberately without any protection, in spite
/// of the name: the password is written as plain text.
class ProtectedCredentials final : public IConf {
public:
    using IConf::read;
    using IConf::write;

    ProtectedCredentials() = default;
    ProtectedCredentials(const Credentials& credentials) : m_credentials(credentials) {}
    operator Credentials() const { return m_credentials; }

    /// "login" and "password" are required (EConfMissingKey); the domain is set only when the key is there.
    void keywrite(IKeyReader& reader) override;
    void read(IKeyWriter& writer) const override;

private:
    Credentials m_credentials;
};

}  // namespace tessel
