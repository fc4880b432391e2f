// SPDX-License-Identifier: MIT
#define _POSIX_C_SOURCE 200809L
#include "server.h"

#include <arpa/inet.h>
#include <string.h>
#include <sys/socket.h>

static bool is_digit(char c) { return c >= '0' && c <= '9'; }

static bool is_letter_or_digit(char c) { return is_digit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// One label of a name, which ends at the next dot; its length, 0 if it is none.
static size_t label_length(const char* label) {
    size_t length = strcspn(label, ".");
    for (size_t i = 0; i < length; i++) {
        if (!is_letter_or_digit(label[i]) && label[i] != '-')
            return 0;
    }
    return length > 63 || label[0] == '-' || (length > 0 && label[length - 1] == '-') ? 0 : length;
}

static bool is_host_name(const char* name) {
    for (;;) {
        size_t length = label_length(name);
        if (length == 0)
            return false;
        if (name[length] == '\0')
            return strspn(name, "0123456789") != length;
        name += length + 1;
    }
}

static bool set_family(tunnel_server* server, bool bracketed) {
    unsigned char address[16];
    size_t length = strlen(server->host);
    server->family = bracketed ? AF_INET6 : AF_INET;
    if (inet_pton(server->family, server->host, address) == 1)
        return true;
    server->family = AF_UNSPEC;
    if (length > 1 && server->host[length - 1] == '.')
        server->host[--length] = '\0';
    return !bracketed && is_host_name(server->host);
}

// 1 to 65535 to the end of the text.
static bool parse_port(const char* text, unsigned short* port) {
    unsigned long value = 0;
    size_t digits = 0;
    for (; is_digit(text[digits]) && digits < 6; digits++)
        value = value * 10 + (unsigned long)(text[digits] - '0');
    if (text[0] == '0' || text[digits] != '\0' || value == 0 || value > 65535)
        return false;
    *port = (unsigned short)value;
    return true;
}

bool tunnel_host_port_parse(const char* text, tunnel_server* server) {
    const bool bracketed = text[0] == '[';
    if (bracketed)
        text++;
    size_t length = strcspn(text, bracketed ? "]" : ":");
    if (length == 0 || length >= sizeof server->host || (bracketed && text[length] != ']'))
        return false;
    memcpy(server->host, text, length);
    server->host[length] = '\0';
    const char* rest = text + length + (bracketed ? 1 : 0);
    if (*rest != '\0' && (*rest != ':' || !parse_port(rest + 1, &server->port)))
        return false;
    return set_family(server, bracketed);
}

bool tunnel_server_parse(const char* text, tunnel_server* server) {
    char host_port[kServerHostSize + sizeof "[]:65535"];
    const char* slash = strchr(text, '/');
    size_t length = slash == NULL ? strlen(text) : (size_t)(slash - text);
    if (length >= sizeof host_port)
        return false;
    memcpy(host_port, text, length);
    host_port[length] = '\0';
    memset(server, 0, sizeof *server);
    server->port = kServerDefaultPort;
    server->tcp = slash != NULL && strcmp(slash, "/tcp") == 0;
    if (slash != NULL && !server->tcp && strcmp(slash, "/udp") != 0)
        return false;
    return tunnel_host_port_parse(host_port, server);
}
