// SPDX-License-Identifier: MIT
// One openvpn process from its start to its end, and what becomes of the tunnel meanwhile.
#ifndef NEBRIX_TUNNEL_OPENVPNSESSION_H
#define NEBRIX_TUNNEL_OPENVPNSESSION_H

#include <stdbool.h>
#include <stdint.h>

#include "engine.h"
#include "keeper.h"
#include "management.h"
#include "nameservers.h"
#include "openvpncommand.h"

// What the engine finds on the machine.
typedef struct {
    const char* openvpn;     // the program's path
    const char* resolvconf;  // likewise; null without one
} openvpn_machine;

typedef enum {
    kSessionGoesOn,
    kSessionStopped,      // kEngineStop was taken
    kSessionWrongName,    // the server's certificate does not bear the name that was asked for
    kSessionRefused,      // the server or a certificate is refused, or refuses; why stands in the log
    kSessionSilence,      // the server does not go on once it saw the client certificate
    kSessionUnanswering,  // nobody answered in time
    kSessionBroken        // all else; why stands in the log
} session_end;

// Zeroed but for the first three before the first run; what it learns of the server stays from one run to the next.
typedef struct {
    const openvpn_machine* machine;
    const engine_parameters* parameters;
    const engine_listener* listener;
    engine_wishes* wishes;

    // Of the tunnel.
    int64_t deadline;    // CLOCK_MONOTONIC in milliseconds; 0 without one
    int stage;           // how far it got before it was connected for the first time
    bool was_connected;  // at any time
    bool connected;

    // Of one process.
    session_end end;
    openvpn_command command;
    program_keeper keeper;
    int management;         // -1 until openvpn is there
    int64_t silence_limit;  // like deadline; while the server has this client's certificate and does not answer
    bool name_fits;         // it was connected
    bool refused;           // login or ticket were
    bool interface_up;      // which of the two events an environment belongs to
    char logged[256];       // the last line of openvpn's log that was taken over, cut; it may hold a secret
    name_servers offered;
    management_reader reader;
} openvpn_session;

enum {
    kSessionConnectLimit = 60 * 1000,        // until the first connection
    kSessionSilenceLimit = 20 * 1000,        // of a server that was given the client certificate
    kSessionReconnectLimit = 10 * 60 * 1000  // until the next one, after one was lost
};

// Runs openvpn for a server whose certificate bears the name, null for any name. The process has ended when it returns.
session_end openvpn_session_run(openvpn_session* self, const char* server_name);

// Milliseconds of CLOCK_MONOTONIC.
int64_t openvpn_session_now(void);

#endif
