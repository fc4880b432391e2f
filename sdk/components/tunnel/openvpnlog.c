// SPDX-License-Identifier: MIT
// openvpn's own log, the only place where it speaks of certificates, and ours of what openvpn says.
#include <stdio.h>
#include <string.h>

#include "openvpnevents.h"

static bool holds(const char* text, const char* secret) { return *secret != '\0' && strstr(text, secret) != NULL; }

void openvpn_log_foreign(openvpn_session* self, const char* text, const char* foreign) {
    const engine_parameters* all = self->parameters;
    bool secret = holds(foreign, all->ticket) || holds(foreign, all->session_id) ||
                  holds(foreign, all->cert_password) || (all->proxy != NULL && holds(foreign, all->proxy->password));
    self->listener->log(self->listener->context, text, secret ? "(a text with a secret in it)" : foreign);
}

static void refuse(openvpn_session* self, const char* why, const char* foreign) {
    openvpn_log_foreign(self, why, foreign);
    self->end = kSessionRefused;
}

void openvpn_break_off(openvpn_session* self, const char* why, const char* foreign) {
    openvpn_log_foreign(self, why, foreign);
    self->end = kSessionBroken;
}

static bool begins(const char* text, const char* prefix) { return strncmp(text, prefix, strlen(prefix)) == 0; }

// A server that does not answer is worth one line, not one for each packet.
static void log_once(openvpn_session* self, const char* text) {
    if (strncmp(self->logged, text, sizeof self->logged - 1) == 0)
        return;
    snprintf(self->logged, sizeof self->logged, "%s", text);
    openvpn_log_foreign(self, "openvpn: ", text);
}

void openvpn_log_event(openvpn_session* self, const management_event* event) {
    const char* text = event->text;
    if (begins(text, "VERIFY OK: depth=0")) {
        if (!self->was_connected)
            self->silence_limit = openvpn_session_now() + kSessionSilenceLimit;
    } else if (strstr(text, "Peer Connection Initiated with") != NULL) {
        self->silence_limit = 0;
    } else if (begins(text, "VERIFY X509NAME ERROR: ")) {
        openvpn_log_foreign(self, "the server's certificate is another's: ", text + strlen("VERIFY X509NAME ERROR: "));
        self->end = kSessionWrongName;
        openvpn_lose_connection(self);
    } else if (begins(text, "VERIFY ") && strstr(text, " ERROR") != NULL) {
        refuse(self, "the server's certificate is refused: ", text);
    } else if (begins(text, "WARNING: Your certificate ")) {
        refuse(self, "the client certificate is of no use: ", text + strlen("WARNING: "));
    } else if (begins(text, "read from TUN/TAP") && strstr(text, "File descriptor in bad state") != NULL) {
        // openvpn would say so for ever.
        openvpn_break_off(self, "the tunnel's interface was taken away: ", text);
    } else if (strpbrk(event->name, "WNF") != NULL || begins(text, "HTTP proxy returned: ")) {
        log_once(self, text);
    }
}

void openvpn_fatal_event(openvpn_session* self, const management_event* event) {
    if (strstr(event->text, "private key password verification failed") != NULL)
        refuse(self, "the client certificate cannot be opened with its password, or does not fit its key", "");
    else
        openvpn_break_off(self, "openvpn gives up: ", event->text);
}
