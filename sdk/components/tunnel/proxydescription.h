// SPDX-License-Identifier: MIT
// The proxy that the tunnel takes to its server, from DllSetProxy2's description and the environment.
//
// The description has seven fields: use | type | host | login | password | domain | "save:no". A password may itself
// hold "|". "0" as use means no proxy. The types "http", "https" and "connect" name an HTTP proxy at the host, which
// may carry a port; with "none", "no" and "no-proxy" the environment chooses as it does for the client's own requests
// (https_proxy, then all_proxy, small or capital letters, unless no_proxy has the server), and login and password are
// for that proxy where its URL names none. A login with a domain becomes DOMAIN\login.
#ifndef NEBRIX_TUNNEL_PROXYDESCRIPTION_H
#define NEBRIX_TUNNEL_PROXYDESCRIPTION_H

#include "server.h"

enum { kProxyTextSize = 512, kProxyDefaultPort = 1080 };

// An HTTP proxy (CONNECT, RFC 9110). Login and password are printable, without line breaks.
typedef struct {
    tunnel_server address;  // host, family and port
    char login[kProxyTextSize];
    char password[kProxyTextSize];  // secret
} tunnel_proxy;

typedef enum {
    kProxyNone,     // connect without one
    kProxyHttp,     // *proxy is set
    kProxyUnusable  // one is asked for that cannot be used: another type, or a host, login or password that is none
} proxy_choice;

// Reads the environment. *proxy is to be wiped by the caller.
proxy_choice tunnel_proxy_choose(const char* description, const tunnel_server* server, tunnel_proxy* proxy);

#endif
