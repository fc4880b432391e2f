// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/localsettings.h"

#include <algorithm>

namespace tessel {

namespace {

/// How a server is treated.
struct Standing {
    enum Strictness { Unchecked, AsOthers, OneKey };

    Strictness strictness = AsOthers;
    std::optional<TrustedKey> key{};  // with OneKey

    bool operator==(const Standing&) const = default;
};

Standing standingOf(const ServerExceptions& servers, const String& domain) {
    if (!contains(servers.domains, domain)) {
        return {};
    }
    const std::optional<TrustedKey> key = keyOf(servers.keys, domain);
    return key ? Standing{Standing::OneKey, key} : Standing{Standing::Unchecked};
}

Standing mergedStanding(const Standing& base, const Standing& ours, const Standing& theirs) {
    if (ours == base) {
        return theirs;
    }
    if (theirs == base) {
        return ours;
    }
    if (ours.strictness != theirs.strictness) {
        return ours.strictness > theirs.strictness ? ours : theirs;
    }
    return ours.key && ours.key->since < theirs.key->since ? theirs : ours;
}

ServerExceptions mergedServers(const ServerExceptions& base, const ServerExceptions& ours,
                               const ServerExceptions& theirs) {
    List<String> all = ours.domains;
    std::copy_if(theirs.domains.begin(), theirs.domains.end(), std::back_inserter(all),
                 [&](const String& domain) { return !contains(ours.domains, domain); });
    ServerExceptions result;
    for (const String& domain : all) {
        const Standing standing =
            mergedStanding(standingOf(base, domain), standingOf(ours, domain), standingOf(theirs, domain));
        if (standing.key && !contains(result.domains, domain)) {
            result.keys.push_back(*standing.key);
        }
        if (standing.strictness != Standing::AsOthers) {
            result.domains.push_back(domain);
        }
    }
    return result;
}

}  // namespace

bool contains(const List<String>& domains, const String& domain) {
    return std::find(domains.begin(), domains.end(), domain) != domains.end();
}

std::optional<TrustedKey> keyOf(const List<TrustedKey>& keys, const String& domain) {
    const auto key =
        std::find_if(keys.begin(), keys.end(), [&](const TrustedKey& trusted) { return trusted.server == domain; });
    return key != keys.end() ? std::optional(*key) : std::nullopt;
}

LocalSettings merged(const LocalSettings& base, const LocalSettings& ours, const LocalSettings& theirs) {
    LocalSettings result = theirs;
    result.servers = mergedServers(base.servers, ours.servers, theirs.servers);
    if (!(ours.credentials.getLogin() == base.credentials.getLogin() &&
          ours.credentials.getDomain() == base.credentials.getDomain())) {
        result.credentials.setLogin(ours.credentials.getLogin());
        result.credentials.setDomain(ours.credentials.getDomain());
    }
    if (!(ours.credentials.getPassword() == base.credentials.getPassword())) {
        result.credentials.setPassword(ours.credentials.getPassword());
    }
    return result;
}

}  // namespace tessel
