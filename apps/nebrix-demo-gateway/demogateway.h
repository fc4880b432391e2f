// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "apps/nebrix-demo-gateway/errors.h"
#include "apps/nebrix-demo-gateway/options.h"
#include "apps/nebrix-demo-gateway/requestlog.h"

namespace tessel::gateway {

/// A gateway on the loopback interface that speaks HTTPS with a certificate of its own, for demonstrations and tests.
///
/// It answers the mediation of each component type, serves the component's archive, the two certificate files and one
/// published resource, and judges the host checks that are posted. Every request must carry the cookie "Nebrix-Id" with
/// the client identifier: others are refused, the mediation with its own words, the rest with status 403. What it
/// serves is signed, packed and fixed at construction, the faults included.
///
/// Threads: start() and stop() are called by one thread; everything else may be called by any thread.
class DemoGateway {
public:
    /// Makes certificates, signs and packs. Raises EGateway, sign::ESign or EFile when that cannot be done.
    explicit DemoGateway(GatewayOptions options);
    DemoGateway(const DemoGateway&) = delete;
    DemoGateway& operator=(const DemoGateway&) = delete;
    /// Stops it.
    ~DemoGateway();

    /// Serves on threads of its own from when it returns; once. Raises EGateway when the port cannot be had.
    void start();
    /// Ends: answers that are held back or trickle are given up. Waits for the threads. May be repeated.
    void stop();

    [[nodiscard]] unsigned port() const noexcept;
    /// "ADDRESS:PORT", from start() on.
    [[nodiscard]] std::string authority() const;
    [[nodiscard]] const std::string& clientId() const noexcept;
    /// The string that starts a client: "https://CLIENTID@ADDRESS:PORT/mediation/TYPE?lang=en".
    [[nodiscard]] std::string mediation(ComponentType type) const;
    /// The PEM file of the certificate that the server shows. It has no name of its own, so that it goes with the
    /// process, however that ends.
    [[nodiscard]] std::string certificatePath() const;
    /// Its SHA-256 fingerprint ("3A:0F:..."), which the headless client's --trust takes.
    [[nodiscard]] const std::string& certificateFingerprint() const noexcept;
    /// The digest that the type's archive is announced with.
    [[nodiscard]] std::string archiveMd5(ComponentType type) const;

    /// Every request so far, the refused ones included.
    [[nodiscard]] const RequestLog& requests() const noexcept;
    /// The host checks that were posted: "rulesChecked", decoded, in order.
    [[nodiscard]] std::vector<std::string> hostChecks() const;

private:
    class Implementation;
    std::unique_ptr<Implementation> m_implementation;
};

}  // namespace tessel::gateway
