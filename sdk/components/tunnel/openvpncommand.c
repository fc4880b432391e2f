// SPDX-License-Identifier: MIT
#define _DEFAULT_SOURCE
#include "openvpncommand.h"

#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>

#include "management.h"

enum {
    kPeerValueLimit = 220,     // bytes as written: openvpn reads configuration lines of 256
    kCredentialsLimit = 2000,  // login and ticket: more does not fit openvpn's handshake
    kInlinePiece = 250         // bytes that openvpn reads as one
};

static const char* const kFixed[] = {
    "--management-client", "--management-hold", "--management-query-passwords", "--management-up-down", "--client",
    "--dev", "tun", "--nobind", "--persist-key", "--auth-user-pass", "--auth-nocache", "--remote-cert-tls", "server",
    "--verb", "3", "--suppress-timestamps",
    // Another address, or another try, if nobody answers.
    "--connect-timeout", "5", "--connect-retry", "1", "5",
    // No program is ever run, and nothing pushed makes an environment for one.
    "--script-security", "0", "--pull-filter", "ignore", "setenv", "--pull-filter", "ignore", "echo", NULL};

static void add(openvpn_command* self, const char* first, ...) {
    va_list words;
    va_start(words, first);
    for (const char* word = first; word != NULL && self->count + 1 < kOpenvpnArguments;
         word = va_arg(words, const char*))
        self->arguments[self->count++] = word;
    va_end(words);
    self->arguments[self->count] = NULL;
}

static void add_remote(openvpn_command* self, const engine_parameters* parameters) {
    static const char* const kProtocols[2][3] = {{"udp", "udp4", "udp6"}, {"tcp-client", "tcp4-client", "tcp6-client"}};
    const tunnel_server* server = parameters->server;
    int family = server->family == AF_INET ? 1 : server->family == AF_INET6 ? 2 : 0;
    // With a proxy the family is that of the way to the proxy.
    if (parameters->proxy != NULL)
        family = 0;
    snprintf(self->port, sizeof self->port, "%u", (unsigned)server->port);
    add(self, "--remote", server->host, self->port, kProtocols[server->tcp ? 1 : 0][family], (char*)NULL);
    // Small packets at once: what goes through the tunnel has its own ideas of when to wait.
    if (server->tcp)
        add(self, "--socket-flags", "TCP_NODELAY", (char*)NULL);
    if (parameters->proxy != NULL) {
        const tunnel_server* proxy = &parameters->proxy->address;
        snprintf(self->proxy_port, sizeof self->proxy_port, "%u", (unsigned)proxy->port);
        add(self, "--http-proxy", proxy->host, self->proxy_port, "auto", (char*)NULL);
    }
}

static const char* add_certificates(openvpn_command* self, const engine_parameters* parameters) {
    if (parameters->ca_kind != kCertificateNone) {
        if (*parameters->ca_path != '/')
            return "the path of the authority's certificate is not absolute";
        add(self, "--ca", parameters->ca_path, (char*)NULL);
    }
    if (parameters->cert_kind == kCertificateNone)
        return NULL;
    if (*parameters->cert_path != '/')
        return "the path of the client certificate is not absolute";
    if (parameters->cert_kind == kCertificatePkcs12)
        add(self, "--pkcs12", parameters->cert_path, (char*)NULL);
    else if (parameters->cert_kind == kCertificatePemWithKey)
        add(self, "--cert", parameters->cert_path, "--key", parameters->cert_path, (char*)NULL);
    else
        return "the client certificate comes without its private key";
    return management_takes(parameters->cert_password) ? NULL
                                                       : "the certificate's password is longer than 255 bytes or not "
                                                         "printable ASCII, which openvpn cannot take";
}

static void put(openvpn_command* self, const char* text) {
    size_t length = strlen(text);
    if (length < sizeof self->input - self->input_size) {
        memcpy(self->input + self->input_size, text, length + 1);
        self->input_size += length;
    }
}

// One line "setenv NAME VALUE" of the configuration; false, and nothing, if the value cannot stand in it.
static bool put_peer_value(openvpn_command* self, const char* name, const char* value, char substitute) {
    char line[kPeerValueLimit + 1];
    size_t length = 0;
    for (; *value != '\0'; value++) {
        bool printable = *value >= 0x20 && *value <= 0x7e;
        if (length + 2 > kPeerValueLimit || (!printable && substitute == '\0'))
            return false;
        if (*value == '"' || *value == '\\')
            line[length++] = '\\';
        line[length++] = printable ? *value : substitute;
    }
    line[length] = '\0';
    put(self, "setenv ");
    put(self, name);
    put(self, " \"");
    put(self, line);
    put(self, "\"\n");
    explicit_bzero(line, sizeof line);
    return true;
}

static void put_peer_information(openvpn_command* self, const engine_parameters* parameters) {
    if (*parameters->organization != '\0' && !put_peer_value(self, "UV_ORGANIZATION", parameters->organization, '_'))
        self->left_out = "organisation";
    if (*parameters->session_id != '\0' && !put_peer_value(self, "UV_SESSION", parameters->session_id, '\0'))
        self->left_out = "session id";
    if (self->input_size > 0)
        add(self, "--push-peer-info", (char*)NULL);
}

// A line of its own between two tags. openvpn reads it in pieces of 256 bytes, and passes over blanks at their start.
static bool can_stand_inline(const char* value) {
    const size_t length = strlen(value);
    for (size_t i = 0; i < length; i++) {
        const bool inner_blank = value[i] == ' ' && i > 0 && i + 1 < length && length < kInlinePiece;
        if ((value[i] > 0 && value[i] <= 0x20 && !inner_blank) || value[i] == 0x7f || value[i] == '<')
            return false;
    }
    return true;
}

static const char* put_credentials(openvpn_command* self, const engine_parameters* parameters) {
    self->asks_login = management_takes(parameters->login) && management_takes(parameters->ticket);
    if (self->asks_login)
        return NULL;
    if (strlen(parameters->login) + strlen(parameters->ticket) > kCredentialsLimit)
        return "login and ticket are longer than the 2000 bytes that openvpn takes";
    if (!can_stand_inline(parameters->login) || !can_stand_inline(parameters->ticket))
        return "the login or ticket holds bytes that openvpn cannot take";
    put(self, "<auth-user-pass>\n");
    put(self, parameters->login);
    put(self, "\n");
    put(self, parameters->ticket);
    put(self, "\n</auth-user-pass>\n");
    return NULL;
}

const char* openvpn_command_build(openvpn_command* self, const engine_parameters* parameters, const char* program,
                                  const char* socket, const char* server_name) {
    memset(self, 0, sizeof *self);
    add(self, program, "--management", socket, "unix", (char*)NULL);
    for (size_t i = 0; kFixed[i] != NULL; i++)
        add(self, kFixed[i], (char*)NULL);
    add_remote(self, parameters);
    if (server_name != NULL) {
        if (*server_name == '-')
            return "an accepted name of the server begins with \"-\"";
        add(self, "--verify-x509-name", server_name, "name", (char*)NULL);
    }
    const char* wrong = add_certificates(self, parameters);
    if (wrong == NULL)
        wrong = put_credentials(self, parameters);
    if (parameters->proxy != NULL && wrong == NULL &&
        (!management_takes(parameters->proxy->login) || !management_takes(parameters->proxy->password)))
        wrong = "the proxy's login or password is longer than 255 bytes or not printable ASCII";
    if (wrong != NULL)
        return wrong;
    put_peer_information(self, parameters);
    add(self, "--config", "stdin", (char*)NULL);
    return NULL;
}
