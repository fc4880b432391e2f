// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/errors.h"

namespace tessel::gateway {

/// The gateway cannot be set up; the message is a sentence for the user.
TESSEL_EXCEPTION(EGateway, Exception);

namespace sites {
inline constexpr RaiseSite kNoCertificate{"apps/nebrix-demo-gateway/demogateway", 71};
inline constexpr RaiseSite kNoPort{"apps/nebrix-demo-gateway/demogateway", 84};
inline constexpr RaiseSite kNoNetwork{"apps/nebrix-demo-gateway/networknamespace", 30};
inline constexpr RaiseSite kNoTunnel{"apps/nebrix-demo-gateway/tunnelserver", 60};
}  // namespace sites

}  // namespace tessel::gateway
