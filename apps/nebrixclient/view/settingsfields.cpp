// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/view/settingsfields.h"

#include <algorithm>

#include "apps/nebrixclient/view/whitespace.h"

namespace tessel::view {

void SettingsFields::read(const ClientLocalConfiguration& configuration) {
    const LocalSettings settings = configuration.settings();
    login = settings.credentials.getDomainLogin(true);
    password = settings.credentials.getPassword();
    domains = settings.servers.domains;
    keys = settings.servers.keys;
}

void SettingsFields::write(const SettingsFields& shown, ClientLocalConfiguration& configuration) const {
    configuration.change(shown.settings(), settings());
}

LocalSettings SettingsFields::settings() const {
    LocalSettings result{.servers = {domains, keys}};
    result.credentials.setDomainLogin(login);
    result.credentials.setPassword(password);
    std::erase_if(result.servers.keys, [this](const TrustedKey& key) { return contains(removed, key.server); });
    return result;
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
