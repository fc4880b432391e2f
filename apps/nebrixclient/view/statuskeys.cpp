// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/view/statuskeys.h"

#include <array>
#include <string_view>

#include "apps/nebrixclient/notify.h"

namespace tessel::view {

namespace {

struct Beginning {
    const char* text;
    const char* key;
    bool busy;
};

// Tried in this order.
constexpr std::array kBeginnings{
    Beginning{"init", "VPN_INIT", true},
    Beginning{"authenticating", "VPN_AUTHENTICATING", true},
    Beginning{"reconnecting", "VPN_RECONNECTING", true},
    Beginning{"getconfig", "VPN_GETCONFIG", true},
    Beginning{"authError", "VPN_AUTHERROR", false},
};

constexpr std::string_view kAddressMark = "ip=";

VpnPhrase connectedPhrase(const String& line) {
    const unsigned mark = line.find(kAddressMark.data());
    if (mark == String::npos) {
        return {"VPN_CONNECTED", std::nullopt, false};
    }
    return {"VPN_GIVENIP %s", line.range(mark + static_cast<unsigned>(kAddressMark.size())), false};
}

}  // namespace

const char* statusKey(int status) noexcept {
    switch (static_cast<ClientStatus>(status)) {
        case ClientStatus::Idle:
            return "STATUS_IDLE";
        case ClientStatus::DownloadingComponents:
            return "STATUS_DOWNLOADING_COMPENENTS";  // the misspelling is the catalog's
        case ClientStatus::Connected:
            return "STATUS_CONNECTED";
        case ClientStatus::HostChecking:
            return "HOSTCHECKING";
        case ClientStatus::SessionOver:
            break;
    }
    return "";
}

std::optional<VpnPhrase> vpnPhrase(const String& line) {
    if (line.empty()) {
        return VpnPhrase{"VPN_STOPPED", std::nullopt, false};
    }
    for (const Beginning& beginning : kBeginnings) {
        if (line.starts(beginning.text)) {
            return VpnPhrase{beginning.key, std::nullopt, beginning.busy};
        }
    }
    if (line.starts("connected")) {
        return connectedPhrase(line);
    }
    return std::nullopt;
}

}  // namespace tessel::view
