// SPDX-License-Identifier: MIT
// Whether the far end of a tunnel still answers, which NetworkManager does not say: its OpenVPN plug-in bridges a lost
// server in silence.
//
// Every few seconds one empty UDP datagram with a time to live of 1 goes to an address behind the server. The server
// has to answer that with an ICMP error (RFC 1812, 5.3.1: "time exceeded"; "port unreachable" where the address is its
// own), which needs no right to receive. A server that answers none at all is never judged. One thread.
#ifndef NEBRIX_TUNNEL_LIVENESS_H
#define NEBRIX_TUNNEL_LIVENESS_H

#include <stdbool.h>
#include <stdint.h>

enum { kLivenessPauseMs = 2000, kLivenessLost = 3 };

typedef struct {
    int descriptor;   // to be polled for input; -1 while closed
    bool answered;    // has been seen to answer at all
    unsigned silent;  // datagrams since the last answer
    int64_t next_ms;  // when the next one is due
} liveness;

// own is the tunnel's address, behind where a route of the tunnel leads to, both numerical and of one family. Of a
// network its first address is asked. With own as the sender no answer can come by another way. False if there is no
// such socket; it is closed then.
bool liveness_open(liveness* self, const char* own, const char* behind, int64_t now_ms);
void liveness_close(liveness* self);

// Takes answers and sends what is due. Call it when the descriptor is readable and at next_ms.
void liveness_step(liveness* self, int64_t now_ms);

// False from kLivenessLost datagrams without an answer until the next answer.
bool liveness_good(const liveness* self);

#endif
