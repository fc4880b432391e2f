// SPDX-License-Identifier: MIT
#include "nameservers.h"

#include <arpa/inet.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "program.h"

enum { kResolvconfTime = 2000 };

void name_servers_clear(name_servers* self) {
    self->device[0] = '\0';
    for (size_t i = 0; i < kNameServerOptions; i++)
        self->options[i][0] = '\0';
}

static bool consists_of(const char* text, const char* further) {
    static const char kLetters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    size_t length = 0;
    while (text[length] != '\0' && (strchr(kLetters, text[length]) != NULL || strchr(further, text[length]) != NULL))
        length++;
    // Nothing that a program could take for an option.
    return length > 0 && text[length] == '\0' && strchr("-.", text[0]) == NULL;
}

void name_servers_note(name_servers* self, const char* name, const char* value) {
    static const char kOption[] = "foreign_option_";
    if (strcmp(name, "dev") == 0 && strlen(value) < sizeof self->device && consists_of(value, "-_.")) {
        memcpy(self->device, value, strlen(value) + 1);
    } else if (strncmp(name, kOption, sizeof kOption - 1) == 0) {
        unsigned long number = strtoul(name + sizeof kOption - 1, NULL, 10);
        if (number >= 1 && number <= kNameServerOptions && strlen(value) < kNameServerOptionSize)
            memcpy(self->options[number - 1], value, strlen(value) + 1);
    }
}

// The option's value if it is "dhcp-option NAME VALUE" with one of the names, which end with null; else null.
static const char* value_of(const char* option, const char* const* names) {
    for (; *names != NULL; names++) {
        char head[48];
        int length = snprintf(head, sizeof head, "dhcp-option %s ", *names);
        if (strncmp(option, head, (size_t)length) == 0)
            return option + length;
    }
    return NULL;
}

static bool is_address(const char* text) {
    unsigned char address[sizeof(struct in6_addr)];
    return inet_pton(AF_INET, text, address) == 1 || inet_pton(AF_INET6, text, address) == 1;
}

void name_servers_text(const name_servers* self, char out[kNameServerTextSize]) {
    static const char* const kServer[] = {"DNS", "DNS6", NULL};
    static const char* const kDomain[] = {"DOMAIN", "DOMAIN-SEARCH", "ADAPTER_DOMAIN_SUFFIX", NULL};
    size_t length = 0;
    out[0] = '\0';
    for (size_t i = 0; i < kNameServerOptions; i++) {
        const char* server = value_of(self->options[i], kServer);
        if (server != NULL && is_address(server))
            length += (size_t)snprintf(out + length, kNameServerTextSize - length, "nameserver %s\n", server);
    }
    const char* before = "search ";
    for (size_t i = 0; i < kNameServerOptions && length > 0; i++) {
        const char* domain = value_of(self->options[i], kDomain);
        if (domain == NULL || !consists_of(domain, "-_."))
            continue;
        length += (size_t)snprintf(out + length, kNameServerTextSize - length, "%s%s", before, domain);
        before = " ";
    }
    if (*before == ' ')
        snprintf(out + length, kNameServerTextSize - length, "\n");
}

bool name_servers_record(const name_servers* self, char out[kNameServerRecordSize]) {
    snprintf(out, kNameServerRecordSize, "%s.nebrix", self->device);
    return *self->device != '\0';
}

static bool run(const name_servers* self, const char* resolvconf, const char* option, int stop) {
    char record[kNameServerRecordSize];
    char text[kNameServerTextSize];
    const char* const arguments[] = {resolvconf, option, record, NULL};
    name_servers_text(self, text);
    return name_servers_record(self, record) && *text != '\0' && program_run(arguments, text, stop, kResolvconfTime);
}

bool name_servers_apply(const name_servers* self, const char* resolvconf, int stop) {
    return run(self, resolvconf, "-a", stop);
}

// What is written to the command is not read by it.
bool name_servers_withdraw(const name_servers* self, const char* resolvconf, int stop) {
    return run(self, resolvconf, "-d", stop);
}
