#include "apps/nebrixclient/view/settingsfields.h"

#include <algorithm>

#include "apps/nebrixclient/view/whitespace.h"

namespace tessel::view {

void SettingsFields::read(const ClientLocalConfiguration& configuration) {
    const Credentials credentials = configuration.getCredentials();
    login = credentials.getDomainLogin(true);
    password = credentials.getPassword();
    domains = configuration.getSslCertIgnoreDomains();
}

void SettingsFields::write(ClientLocalConfiguration& configuration) const {
    Credentials credentials;
    credentials.setDomainLogin(login);
    credentials.setPassword(password);
    configuration.setCredentials(credentials);
    List<String> kept = domains;
    std::erase_if(kept, [this](const String& domain) {
        return std::find(removed.begin(), removed.end(), domain) != removed.end();
    });
    configuration.setSslCertIgnoreDomains(kept);
    configuration.setSslCertIgnoreDomains(domains);
}

String SettingsFields::domainToAdd(const String& typed, const List<String>& present) {
    const String domain = withoutTrailingSpace(typed);
    return std::find(present.begin(), present.end(), domain) == present.end() ? domain : String();
}

std::vector<unsigned> removalOrder(std::vector<unsigned> selected) {
    unsigned deleted = 0;
    for (unsigned& position : selected) {
        position -= deleted++;
    }
    return selected;
}

}  // namespace tessel::view
