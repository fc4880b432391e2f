// SPDX-License-Identifier: MIT
// The far end of the tunnel, as the gateway's "server" names it.
//
//   host[:port][/udp|/tcp]     vpn.example   192.0.2.1:443/tcp   [2001:db8::1]:1194
//
// The host is a name (RFC 1123: labels of letters, digits and inner "-", 1 to 63 bytes each, 253 in all, one final "."
// allowed and dropped), an IPv4 address in four decimal parts, or an IPv6 address in brackets, without a zone. A name
// whose last label is all digits is none, so that no resolver takes it for an address. The port is 1 to 65535 in
// decimal, without sign or leading zero. Nothing else is let through, blanks and upper-case protocols included: what
// passed can stand as an argument of a program, or as a value in its configuration, as it is.
#ifndef NEBRIX_TUNNEL_SERVER_H
#define NEBRIX_TUNNEL_SERVER_H

#include <stdbool.h>

enum { kServerHostSize = 254, kServerDefaultPort = 1194 };

typedef struct {
    char host[kServerHostSize];  // with the NUL; an IPv6 address without brackets
    int family;                  // AF_INET or AF_INET6 for an address, AF_UNSPEC for a name
    unsigned short port;
    bool tcp;  // else udp
} tunnel_server;

// False if text is no such description; *server is unspecified then.
bool tunnel_server_parse(const char* text, tunnel_server* server);

// host, or host and port joined by ":", with the rules above and no protocol: what both a server and a proxy have. The
// port is left as it was where the text names none.
bool tunnel_host_port_parse(const char* text, tunnel_server* server);

#endif
