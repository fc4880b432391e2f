// SPDX-License-Identifier: Apache-2.0
// What openvpn's management interface says: read in pieces of any size and acted upon. Nothing that is said may bring a
// secret into the log, or a state that the client does not know.
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

extern "C" {
#include "sdk/components/tunnel/openvpnevents.h"
#include "sdk/components/tunnel/wishes.h"
}

namespace {

void demand(bool holds) {
    if (!holds)
        std::abort();
}

bool knownStatus(const std::string& status) {
    static constexpr const char* kKnown[] = {"init", "authenticating", "getconfig", "reconnecting", "connected"};
    return std::find(std::begin(kKnown), std::end(kKnown), status) != std::end(kKnown) ||
           (status.starts_with("connected ip=") &&
            status.find_first_not_of("0123456789abcdefABCDEF.:", 13) == std::string::npos);
}

const engine_listener kListener{nullptr, [](void*, const char* status) { demand(knownStatus(status)); },
                                [](void*, int) {},
                                [](void*, const char* text, const char* value) {
                                    const std::string line = std::string(text) + value;
                                    demand(line.find("TICKET") == std::string::npos);
                                    demand(line.find("SESSION") == std::string::npos);
                                }};

engine_parameters parameters(const tunnel_server& server) {
    engine_parameters made{};
    made.server = &server;
    made.login = "login";
    made.ticket = "TICKET";
    made.session_id = "SESSION";
    made.cert_password = "PASSWORD";
    made.cert_kind = kCertificatePkcs12;
    return made;
}

void act(openvpn_session& session) {
    char* line = nullptr;
    while (session.end == kSessionGoesOn) {
        const management_progress progress = management_next(&session.reader, &line);
        if (progress != kManagementLine) {
            if (progress == kManagementBroken)
                session.end = kSessionBroken;
            return;
        }
        const std::size_t length = std::strlen(line);
        const management_event event = management_parse(line);
        for (const char* piece : {event.name, event.text, event.address, event.address6})
            demand(piece != nullptr && std::strlen(piece) <= length);
        openvpn_event(&session, &event);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const tunnel_server server{};
    static const engine_parameters values = parameters(server);
    static const openvpn_machine machine{"/nonexistent", nullptr};
    if (size == 0)
        return 0;
    int ends[2];
    demand(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends) == 0);
    const auto session = std::make_unique<openvpn_session>();
    session->machine = &machine;
    session->parameters = &values;
    session->listener = &kListener;
    session->management = ends[0];
    session->command.asks_login = true;

    const std::size_t piece = 1 + *data * 97U;
    for (std::size_t at = 1; at < size && session->end == kSessionGoesOn;) {
        std::size_t room = 0;
        char* const place = management_room(&session->reader, &room);
        demand(room > 0);
        const std::size_t taken = std::min({piece, room, size - at});
        std::memcpy(place, data + at, taken);
        management_filled(&session->reader, taken);
        at += taken;
        act(*session);
    }
    ::close(ends[0]);
    ::close(ends[1]);
    return 0;
}
