// SPDX-License-Identifier: Apache-2.0
#include "libs/http/credentials.h"

namespace tessel {

String Credentials::getDomainLogin(bool withDomain) const {
    return withDomain && !m_domain.empty() ? String(m_domain + "\\" + m_login) : m_login;
}

void Credentials::setDomainLogin(const String& text) {
    m_domain = text.left('\\', true);
    m_login = text.right('\\');
}

void ProtectedCredentials::keywrite(IKeyReader& reader) {
    String text;
    ConfReadHelper::readKey(reader, "login", text, true);
    m_credentials.setLogin(text);
    ConfReadHelper::readKey(reader, "password", text, true);
    m_credentials.setPassword(text);
    if (ConfReadHelper::readKey(reader, "domain", text, false)) {
        m_credentials.setDomain(text);
    }
}

void ProtectedCredentials::read(IKeyWriter& writer) const {
    writer["login"].write(m_credentials.getLogin());
    writer["password"].write(m_credentials.getPassword());
    writer["domain"].write(m_credentials.getDomain());
}

}  // namespace tessel
