// SPDX-License-Identifier: MIT
// What an event of the management interface means for the tunnel.
#ifndef NEBRIX_TUNNEL_OPENVPNEVENTS_H
#define NEBRIX_TUNNEL_OPENVPNEVENTS_H

#include "openvpnsession.h"

// Acts on the event: reports, logs, answers. What ends the session is put into self->end.
void openvpn_event(openvpn_session* self, const management_event* event);

// Sends a command, line end included; an openvpn that does not read ends the session.
void openvpn_send(openvpn_session* self, const char* command, size_t size);

// An established connection is lost; or there was none, and nothing happens.
void openvpn_lose_connection(openvpn_session* self);

// The two events that openvpn_event() leaves to openvpnlog.c.
void openvpn_log_event(openvpn_session* self, const management_event* event);
void openvpn_fatal_event(openvpn_session* self, const management_event* event);

// Ends the session as broken, with a line of the log like that below.
void openvpn_break_off(openvpn_session* self, const char* why, const char* foreign);

// One line of the log from a text that is not ours. A text that holds a secret is not written.
void openvpn_log_foreign(openvpn_session* self, const char* text, const char* foreign);

#endif
