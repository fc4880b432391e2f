// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "apps/nebrixclient/clientlocalconfiguration.h"
#include "libs/base/string.h"

namespace tessel::view {

/// The settings dialog's contents, apart from the configuration until they are written to it. A plain value.
class SettingsFields {
public:
    String login;  ///< of the proxy, with its domain in front: "domain\login"
    String password;
    List<String> domains;  ///< whose certificates are not checked, in the order of the list
    /// Those that were taken from the list, also when they were typed again: their trusted keys are given up.
    List<String> removed{};
    List<TrustedKey> keys{};  ///< as they were read; nobody edits them

    void read(const ClientLocalConfiguration& configuration);
    /// Stores what differs from the fields as they were shown, in memory only: the rest may have changed meanwhile.
    void write(const SettingsFields& shown, ClientLocalConfiguration& configuration) const;

    /// What a typed domain adds to the list: itself without trailing white space, or an empty string when it is blank
    /// or there already, in the same case.
    static String domainToAdd(const String& typed, const List<String>& present);

private:
    [[nodiscard]] LocalSettings settings() const;
};

/// For the selected positions of a list, ascending: where to delete, one after the other, to remove exactly those.
std::vector<unsigned> removalOrder(std::vector<unsigned> selected);

}  // namespace tessel::view
