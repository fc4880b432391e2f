// SPDX-License-Identifier: MIT
// What the plug-in's setters gave, kept for the next start, and the parameters that a tunnel is made of them.
#ifndef NEBRIX_TUNNEL_SETTINGS_H
#define NEBRIX_TUNNEL_SETTINGS_H

#include <stdbool.h>
#include <stddef.h>

#include "common/log.h"
#include "tunnel.h"

enum tunnel_setting {
    kVersion,
    kPluginDir,
    kLogin,
    kOrganization,
    kHostname,
    kServer,
    kSuffix,
    kTicket,
    kSessionId,
    kCertDirectory,
    kCertFileName,
    kCaFileName,
    kCertPassword,
    kProxy,
    kSettingCount
};

enum { kMaximalNames = 32, kMaximalNameLength = 255 };

// Zeroes are the empty settings. Of one thread.
typedef struct {
    char* texts[kSettingCount];  // owned; null until set
    char* names[kMaximalNames];  // owned; names that the server's certificate may bear
    size_t name_count;
    bool name_refused;
} tunnel_settings;

// Null counts as "". What was there is overwritten.
void tunnel_settings_set(tunnel_settings* self, enum tunnel_setting which, const char* value);

// "" until set.
const char* tunnel_settings_get(const tunnel_settings* self, enum tunnel_setting which);

// Forgets the names of the server's certificate.
void tunnel_settings_clear_names(tunnel_settings* self);

// False for a name that is empty, too long or not printable, and for one too many. It then matches no certificate; a
// list of which nothing was accepted matches none at all (see tunnel_settings_no_name_left), rather than every one.
bool tunnel_settings_add_name(tunnel_settings* self, const char* name);
bool tunnel_settings_no_name_left(const tunnel_settings* self);

// Starts the tunnel towards server with what is set. False without memory or a thread, or if it was started already.
bool tunnel_settings_start(const tunnel_settings* self, const tunnel_server* server, unsigned step_ms, tunnel* target,
                           nebrix_log* log);

#endif
