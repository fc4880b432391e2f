// SPDX-License-Identifier: MIT
// The command line and the configuration with which openvpn builds one tunnel.
//
// The options are a fixed list. A value of the gateway's is checked and stands as one argument behind its option; none
// can become an option of its own. The session id goes through openvpn's standard input, since arguments can be read by
// everybody; so do a login and ticket that the management interface cannot take. Other secrets are asked for over that.
//
//   server            --remote, with the protocol of its address's family
//   proxy             --http-proxy; its credentials are asked for
//   CA file           --ca
//   certificate       --pkcs12, or --cert and --key from one PEM file; its password is asked for
//   accepted name     --verify-x509-name: the certificate's common name, letter by letter
//   organisation      peer information UV_ORGANIZATION; what is not printable ASCII as "_"
//   session id        peer information UV_SESSION; left out if it is not printable ASCII
// Either is left out if it is longer than 220 bytes, quotes and backslashes counted twice.
#ifndef NEBRIX_TUNNEL_OPENVPNCOMMAND_H
#define NEBRIX_TUNNEL_OPENVPNCOMMAND_H

#include <stdbool.h>
#include <stddef.h>

#include "engine.h"

enum { kOpenvpnArguments = 96, kOpenvpnInputSize = 4096 };

typedef struct {
    const char* arguments[kOpenvpnArguments];  // ends with null; of the parameters, of this structure, or constant
    size_t count;
    char port[8];
    char proxy_port[8];
    char input[kOpenvpnInputSize];  // secret
    size_t input_size;
    bool asks_login;       // over the management interface
    const char* left_out;  // what openvpn cannot take and the server is not told; null: nothing
} openvpn_command;

// Null, or what makes a tunnel impossible, in words for the log. socket is where openvpn meets the management
// interface, server_name the one name that the server's certificate must bear, null without one. The parameters stay
// the caller's and have to outlive the command. *self is to be wiped by the caller in any case.
const char* openvpn_command_build(openvpn_command* self, const engine_parameters* parameters, const char* program,
                                  const char* socket, const char* server_name);

#endif
