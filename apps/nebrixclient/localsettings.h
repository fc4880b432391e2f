// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ctime>
#include <optional>

#include "libs/base/string.h"
#include "libs/http/credentials.h"

namespace tessel {

/// The public key that the user has accepted for one of the servers whose certificate is not checked: whoever shows
/// another one is not that server.
struct TrustedKey {
    String server;  ///< as the list of domains has it
    /// SHA-256 of the SubjectPublicKeyInfo (RFC 7469, 2.4) in lower-case hexadecimal. Empty when the file's cannot be
    /// read: then no key fits.
    String digest;
    std::time_t since = -1;  ///< when it was accepted, in seconds since 1970; -1 when the file does not say

    bool operator==(const TrustedKey&) const = default;
};

/// The servers that are not checked as others are, at one moment.
struct ServerExceptions {
    List<String> domains;
    List<TrustedKey> keys;  ///< at most one for each domain, of any number of them
};

/// The files that a TLS connection uses besides the machine's own: paths, empty for none.
struct TlsFiles {
    String authorities;   ///< PEM: whose certificates count, instead of those whom the machine trusts
    String certificate;   ///< the client's, for its gateway: PEM or PKCS #12
    String key;           ///< its private key, where that is not in the certificate's file
    String passwordFile;  ///< whose first line opens the key
    /// Opens the key in place of that line. Never saved.
    std::optional<String> password{};

    bool operator==(const TlsFiles&) const = default;
};

/// What nebrixclient.xml holds. A plain value.
struct LocalSettings {
    ServerExceptions servers{};
    Credentials credentials{};  ///< the proxy's
    bool pluginDownload = true;
    bool hostcheckerDownload = true;
    unsigned componentMemory = 2048;  ///< MiB that a component may have for itself; 0 for any amount
    TlsFiles tls{};                   ///< without a password
    bool refuseOlder = false;         ///< whether a component older than the last one that ran is refused
};

/// Whether the list has this domain, in the same case.
bool contains(const List<String>& domains, const String& domain);
/// The key of the domain of the same text.
std::optional<TrustedKey> keyOf(const List<TrustedKey>& keys, const String& domain);

/// `theirs` with what differs between `base` and `ours`: each server, login and password for itself. Neither side's
/// change is lost, but where both changed the same one: of a server the stricter then holds (a key, before no
/// exception, before none checked; of two keys the later), of the rest ours.
LocalSettings merged(const LocalSettings& base, const LocalSettings& ours, const LocalSettings& theirs);

}  // namespace tessel
