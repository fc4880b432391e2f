// SPDX-License-Identifier: MIT
// Name servers and search domains that the server offers for the time of the tunnel.
//
// openvpn itself sets none on Linux; it tells what was pushed ("dhcp-option DNS", "dns server" and the like) in the
// environment of its up event. They are given to resolvconf(8), which systemd-resolved, openresolv and Debian's
// resolvconf all bring: the first for this one interface, the others for the machine. Whoever has none of them has a
// resolv.conf(5) of his own making, and that is left alone.
//
// What is pushed is the server's: nothing but addresses and domain names gets through.
#ifndef NEBRIX_TUNNEL_NAMESERVERS_H
#define NEBRIX_TUNNEL_NAMESERVERS_H

#include <stdbool.h>
#include <stddef.h>

enum {
    kNameServerOptions = 24,  // the first ones; what the server pushes beyond is not used
    kNameServerOptionSize = 272,
    kNameServerDeviceSize = 16,  // as the kernel's
    kNameServerRecordSize = 32,
    kNameServerTextSize = kNameServerOptions * (kNameServerOptionSize + 16)
};

typedef struct {
    char device[kNameServerDeviceSize];  // the tunnel's interface, "" while none was told
    char options[kNameServerOptions][kNameServerOptionSize];
} name_servers;

void name_servers_clear(name_servers* self);

// One variable of the up event; others than those of interest are passed over.
void name_servers_note(name_servers* self, const char* name, const char* value);

// What resolvconf(8) takes: "nameserver" lines in the server's order and one "search" line. "" if there is no server.
void name_servers_text(const name_servers* self, char out[kNameServerTextSize]);

// The name under which resolvconf(8) keeps them; false without an interface.
bool name_servers_record(const name_servers* self, char out[kNameServerRecordSize]);

// Runs resolvconf, the program's path: to set them and to take them back. Waits for two seconds at most, and until the
// descriptor stop is readable. False if there is nothing to do or it failed.
bool name_servers_apply(const name_servers* self, const char* resolvconf, int stop);
bool name_servers_withdraw(const name_servers* self, const char* resolvconf, int stop);

#endif
