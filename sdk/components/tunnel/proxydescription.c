// SPDX-License-Identifier: MIT
#define _GNU_SOURCE
#include "proxydescription.h"

#include <arpa/inet.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/socket.h>

// A part of a text.
typedef struct {
    const char* at;
    size_t length;
} piece;

enum field { kUse, kType, kHost, kLogin, kPassword, kDomain, kSave, kFieldCount };

static bool equals(piece left, const char* right) {
    return left.length == strlen(right) && strncasecmp(left.at, right, left.length) == 0;
}

static bool is_one_of(piece word, const char* a, const char* b, const char* c) {
    return equals(word, a) || equals(word, b) || equals(word, c);
}

// The password is what the other six leave, since it is the one that may hold any byte.
static bool split(const char* description, piece fields[kFieldCount]) {
    const char* at = description;
    for (int i = kUse; i < kPassword; i++) {
        const char* bar = strchr(at, '|');
        if (bar == NULL)
            return false;
        fields[i] = (piece){at, (size_t)(bar - at)};
        at = bar + 1;
    }
    const char* end = at + strlen(at);
    for (int i = kSave; i > kPassword; i--) {
        const char* bar = memrchr(at, '|', (size_t)(end - at));
        if (bar == NULL)
            return false;
        fields[i] = (piece){bar + 1, (size_t)(end - bar - 1)};
        end = bar;
    }
    fields[kPassword] = (piece){at, (size_t)(end - at)};
    return true;
}

// Appends to a text of kProxyTextSize; false if it does not fit or would hold a control byte.
static bool append(char* text, const char* bytes, size_t length) {
    size_t used = strlen(text);
    if (length >= kProxyTextSize - used)
        return false;
    for (size_t i = 0; i < length; i++) {
        if ((unsigned char)bytes[i] < 0x20 || bytes[i] == 0x7f)
            return false;
    }
    memcpy(text + used, bytes, length);
    text[used + length] = '\0';
    return true;
}

static int hexadecimal(char digit) {
    static const char kDigits[] = "0123456789abcdef0123456789ABCDEF";
    const char* at = digit == '\0' ? NULL : strchr(kDigits, digit);
    return at == NULL ? -1 : (int)(at - kDigits) % 16;
}

// Appends with percent-encoded bytes decoded (RFC 3986).
static bool append_decoded(char* text, piece encoded) {
    for (size_t i = 0; i < encoded.length; i++) {
        char byte = encoded.at[i];
        if (byte == '%') {
            if (encoded.length - i < 3 || hexadecimal(encoded.at[i + 1]) < 0 || hexadecimal(encoded.at[i + 2]) < 0)
                return false;
            byte = (char)(hexadecimal(encoded.at[i + 1]) * 16 + hexadecimal(encoded.at[i + 2]));
            i += 2;
        }
        if (!append(text, &byte, 1))
            return false;
    }
    return true;
}

static bool set_address(tunnel_proxy* proxy, piece host_port) {
    char text[kServerHostSize + sizeof "[]:65535"];
    if (host_port.length >= sizeof text)
        return false;
    memcpy(text, host_port.at, host_port.length);
    text[host_port.length] = '\0';
    proxy->address.port = kProxyDefaultPort;
    proxy->address.tcp = true;
    return tunnel_host_port_parse(text, &proxy->address);
}

static bool set_credentials(tunnel_proxy* proxy, const piece fields[kFieldCount]) {
    const piece domain = fields[kDomain];
    return append(proxy->login, domain.at, domain.length) &&
           append(proxy->login, "\\", domain.length == 0 || fields[kLogin].length == 0 ? 0 : 1) &&
           append(proxy->login, fields[kLogin].at, fields[kLogin].length) &&
           append(proxy->password, fields[kPassword].at, fields[kPassword].length);
}

// Whether host lies in ADDRESS/BITS, or is ADDRESS.
static bool in_network(const tunnel_server* server, piece network) {
    char text[64];
    unsigned char left[16];
    unsigned char right[16];
    const char* slash = memchr(network.at, '/', network.length);
    const size_t length = slash == NULL ? network.length : (size_t)(slash - network.at);
    if (server->family == AF_UNSPEC || length >= sizeof text || length + 1 == network.length)
        return false;
    memcpy(text, network.at, length);
    text[length] = '\0';
    if (inet_pton(server->family, server->host, left) != 1 || inet_pton(server->family, text, right) != 1)
        return false;
    const long all = server->family == AF_INET ? 32 : 128;
    char* end = NULL;
    const long bits = slash == NULL ? all : strtol(slash + 1, &end, 10);
    if (bits < 0 || bits > all || (slash != NULL && end != network.at + network.length))
        return false;
    const int rest = (int)(bits % 8);
    const size_t whole = (size_t)(bits / 8);
    return memcmp(left, right, whole) == 0 &&
           (rest == 0 || ((unsigned)(left[whole] ^ right[whole]) >> (8 - rest)) == 0);
}

// Whether host is the name, or lies below it.
static bool in_domain(const tunnel_server* server, piece name) {
    size_t length = strlen(server->host);
    if (name.length > 0 && name.at[0] == '.')
        name = (piece){name.at + 1, name.length - 1};
    if (name.length == 0 || name.length > length || server->family != AF_UNSPEC)
        return false;
    const char* tail = server->host + length - name.length;
    return strncasecmp(tail, name.at, name.length) == 0 && (tail == server->host || tail[-1] == '.');
}

// The first variable that says anything.
static const char* environment(const char* small, const char* capital) {
    const char* value = getenv(small);
    if (value == NULL || *value == '\0')
        value = getenv(capital);
    return value == NULL ? "" : value;
}

static bool passes_by(const tunnel_server* server) {
    const char* at = environment("no_proxy", "NO_PROXY");
    while (*at != '\0') {
        const piece entry = {at, strcspn(at, ", ")};
        if (equals(entry, "*") || in_network(server, entry) || in_domain(server, entry))
            return true;
        at += entry.length;
        at += strspn(at, ", ");
    }
    return false;
}

// [http://][login[:password]@]host[:port][/...]
static proxy_choice parse_url(const char* url, const piece fields[kFieldCount], tunnel_proxy* proxy) {
    const char* scheme_end = strstr(url, "://");
    if (scheme_end != NULL && !equals((piece){url, (size_t)(scheme_end - url)}, "http"))
        return kProxyUnusable;
    const char* at = scheme_end == NULL ? url : scheme_end + 3;
    const size_t length = strcspn(at, "/");
    const char* sign = memrchr(at, '@', length);
    const char* host = sign == NULL ? at : sign + 1;
    if (!set_address(proxy, (piece){host, length - (size_t)(host - at)}))
        return kProxyUnusable;
    if (sign == NULL)
        return set_credentials(proxy, fields) ? kProxyHttp : kProxyUnusable;
    const char* colon = memchr(at, ':', (size_t)(sign - at));
    const char* login_end = colon == NULL ? sign : colon;
    const piece password = {login_end + (colon == NULL ? 0 : 1), (size_t)(sign - login_end) - (colon == NULL ? 0 : 1)};
    const bool set = append_decoded(proxy->login, (piece){at, (size_t)(login_end - at)}) &&
                     append_decoded(proxy->password, password);
    return set ? kProxyHttp : kProxyUnusable;
}

proxy_choice tunnel_proxy_choose(const char* description, const tunnel_server* server, tunnel_proxy* proxy) {
    piece fields[kFieldCount];
    memset(proxy, 0, sizeof *proxy);
    if (!split(*description == '\0' ? "1|none|||||save:no" : description, fields))
        return kProxyUnusable;
    if (equals(fields[kUse], "0"))
        return kProxyNone;
    if (is_one_of(fields[kType], "http", "https", "connect"))
        return set_address(proxy, fields[kHost]) && set_credentials(proxy, fields) ? kProxyHttp : kProxyUnusable;
    if (!is_one_of(fields[kType], "none", "no", "no-proxy"))
        return kProxyUnusable;
    const char* url = environment("https_proxy", "HTTPS_PROXY");
    if (*url == '\0')
        url = environment("all_proxy", "ALL_PROXY");
    return *url == '\0' || passes_by(server) ? kProxyNone : parse_url(url, fields, proxy);
}
