// SPDX-License-Identifier: MIT
// What the NetworkManager engine knows of its one tunnel, and the requests it makes of NetworkManager.
//
// The functions that NetworkManager's signals lead to only note what became of things here; engine_networkmanager.c
// acts on it. One thread.
#ifndef NEBRIX_TUNNEL_NM_SESSION_H
#define NEBRIX_TUNNEL_NM_SESSION_H

#include "liveness.h"
#include "nm_agent.h"
#include "nm_bus.h"

// NMVpnConnectionState
enum vpn_state {
    kVpnUnknown,
    kVpnPrepare,
    kVpnNeedAuth,
    kVpnConnect,
    kVpnConfigGet,
    kVpnActivated,
    kVpnFailed,
    kVpnDisconnected
};

// NMActiveConnectionStateReason, those that lead to something
enum vpn_reason {
    kReasonUserDisconnected = 2,
    kReasonConnectTimeout = 6,
    kReasonNoSecrets = 9,
    kReasonLoginFailed = 10
};

enum { kMaximalNames = 8, kAddressSize = 64 };

// One connection that was activated. Several stand side by side only while it is open which name the server's
// certificate bears: openvpn takes one name, and says of none that it was the wrong one. The wrong ones end before
// they send a login, the right one goes on.
typedef struct {
    char path[kBusPathSize];  // of the active connection; "" once it is over
    uint32_t state;           // vpn_state
} vpn_attempt;

typedef struct {
    const engine_parameters* parameters;
    nm_bus bus;
    nm_agent agent;
    vpn_attempt attempts[kMaximalNames];
    size_t first_name;  // of the names that attempts stand for
    unsigned passed;    // the states that attempts took, a bit for each (1 << vpn_state); whoever tells them clears it
    unsigned last_reason;           // why the attempt that ended last did, see vpn_reason
    bool news;                      // a signal changed what stands here; whoever looks at it all clears it
    bool ended_by_user;             // one ended from NetworkManager's side
    bool daemon_returned;           // another NetworkManager is on the bus; whoever acts on it clears it
    bool base_changed;              // and so with what the tunnel rests on
    bool addresses_changed;         // and so with the tunnel's addresses
    char configs[2][kBusPathSize];  // IP4Config and IP6Config of the tunnel, "" without
    char address[kAddressSize];     // of the tunnel, "" without
    liveness far_end;
} nm_session;

// Connects to the bus and listens. Unlike all that follows, nothing else may be called after a failure but the close.
int nm_session_open(nm_session* self, const engine_parameters* parameters, engine_wishes* wishes);
void nm_session_close(nm_session* self);

// Whether there is an active connection that a tunnel can rest on.
int nm_session_has_base(nm_session* self);

// Asks for the tunnel: one attempt for each name that the server's certificate may bear, kMaximalNames at a time. If
// one of them is refused, so are all.
int nm_session_activate(nm_session* self);

// Turns to the names that come next. False if there are none.
bool nm_session_next_names(nm_session* self);

// Has all attempts but one (null for none) ended, without waiting for it.
void nm_session_deactivate(nm_session* self, const vpn_attempt* but);

// Has nothing that becomes of the attempts looked at any more.
void nm_session_forget(nm_session* self);

// The attempt that got furthest; null without any.
vpn_attempt* nm_session_furthest(nm_session* self);

// Reads the address of an activated tunnel and turns the watch of its far end to it.
int nm_session_read_address(nm_session* self, const vpn_attempt* attempt);

#endif
