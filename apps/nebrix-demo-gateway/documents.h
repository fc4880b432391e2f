// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "apps/nebrix-demo-gateway/component.h"

namespace tessel::gateway {

/// What the session's document is made of.
struct Session {
    const GatewayOptions& options;
    const ServedComponent& component;
    const TunnelCertificates& certificates;
    ComponentType type;
    /// The query's "lang", or "en".
    std::string language;
    std::string clientId;
    /// The gateway's own, with its port.
    std::string authority;
};

inline constexpr const char* kResponsePath = "/hostcheck/response";
inline constexpr const char* kCertificatePath = "/certificates/";

/// The mediation's answer with the client configuration of the session under "result", less what the faults leave out.
std::string mediationAnswer(const Session& session);
/// An answer with "success" false. "result" is there and empty, as clients require it.
std::string refusal(const std::string& reason);
/// The answer to a host check's post.
std::string hostCheckAnswer(bool goOn, const std::string& info);

}  // namespace tessel::gateway
