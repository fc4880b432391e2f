// SPDX-License-Identifier: MIT
#define _GNU_SOURCE
#include "liveness.h"

#include <time.h>  // which the next one needs

#include <linux/errqueue.h>
#include <netdb.h>
#include <netinet/in.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#define DISCARD_PORT "9"

// Takes one error from the socket's queue, false without one. *other_host becomes true if it came from outside.
static bool take_error(int descriptor, bool* other_host) {
    char payload[1];
    union {
        char bytes[512];
        struct cmsghdr align;
    } control;
    struct iovec vector = {payload, sizeof payload};
    struct msghdr message = {0};
    message.msg_iov = &vector;
    message.msg_iovlen = 1;
    message.msg_control = control.bytes;
    message.msg_controllen = sizeof control.bytes;
    if (recvmsg(descriptor, &message, MSG_ERRQUEUE | MSG_DONTWAIT) < 0)
        return false;
    for (struct cmsghdr* part = CMSG_FIRSTHDR(&message); part != NULL; part = CMSG_NXTHDR(&message, part)) {
        struct sock_extended_err error;
        const bool v4 = part->cmsg_level == IPPROTO_IP && part->cmsg_type == IP_RECVERR;
        const bool v6 = part->cmsg_level == IPPROTO_IPV6 && part->cmsg_type == IPV6_RECVERR;
        if ((!v4 && !v6) || part->cmsg_len < CMSG_LEN(sizeof error))
            continue;
        memcpy(&error, CMSG_DATA(part), sizeof error);
        *other_host = *other_host || error.ee_origin == SO_EE_ORIGIN_ICMP || error.ee_origin == SO_EE_ORIGIN_ICMP6;
    }
    return true;
}

static bool take_answers(int descriptor) {
    char byte[1];
    bool answered = false;
    while (take_error(descriptor, &answered)) {
    }
    // What the discard port sends, and the errors that the queue has told already.
    while (recv(descriptor, byte, sizeof byte, MSG_DONTWAIT) >= 0)
        answered = true;
    return answered;
}

static struct addrinfo* parse(const char* address, const char* port) {
    struct addrinfo hints = {0};
    struct addrinfo* found = NULL;
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
    hints.ai_socktype = SOCK_DGRAM;
    return getaddrinfo(address, port, &hints, &found) == 0 ? found : NULL;
}

// 192.0.2.0, the number of a network, becomes 192.0.2.1.
static void first_of_network(struct addrinfo* address) {
    if (address->ai_family == AF_INET6)
        ((struct sockaddr_in6*)(void*)address->ai_addr)->sin6_addr.s6_addr[15] |= 1;
    else
        ((struct sockaddr_in*)(void*)address->ai_addr)->sin_addr.s_addr |= htonl(1);
}

static bool set_up(int descriptor, const struct addrinfo* own, const struct addrinfo* behind) {
    const int one = 1;
    const bool v6 = behind->ai_family == AF_INET6;
    const int level = v6 ? IPPROTO_IPV6 : IPPROTO_IP;
    return setsockopt(descriptor, level, v6 ? IPV6_UNICAST_HOPS : IP_TTL, &one, sizeof one) == 0 &&
           setsockopt(descriptor, level, v6 ? IPV6_RECVERR : IP_RECVERR, &one, sizeof one) == 0 &&
           bind(descriptor, own->ai_addr, own->ai_addrlen) == 0 &&
           connect(descriptor, behind->ai_addr, behind->ai_addrlen) == 0;
}

bool liveness_open(liveness* self, const char* own, const char* behind, int64_t now_ms) {
    struct addrinfo* from = parse(own, NULL);
    struct addrinfo* to = parse(behind, DISCARD_PORT);
    memset(self, 0, sizeof *self);
    self->next_ms = now_ms;
    self->descriptor = -1;
    if (to != NULL)
        first_of_network(to);
    if (from != NULL && to != NULL && from->ai_family == to->ai_family)
        self->descriptor = socket(to->ai_family, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (self->descriptor >= 0 && !set_up(self->descriptor, from, to))
        liveness_close(self);
    if (from != NULL)
        freeaddrinfo(from);
    if (to != NULL)
        freeaddrinfo(to);
    return self->descriptor >= 0;
}

void liveness_close(liveness* self) {
    if (self->descriptor >= 0)
        close(self->descriptor);
    self->descriptor = -1;
}

void liveness_step(liveness* self, int64_t now_ms) {
    if (self->descriptor < 0)
        return;
    if (take_answers(self->descriptor)) {
        self->answered = true;
        self->silent = 0;
    }
    if (now_ms < self->next_ms)
        return;
    // A datagram that cannot be sent, as while there is no way to the server, counts as one without an answer.
    (void)send(self->descriptor, "", 0, MSG_NOSIGNAL | MSG_DONTWAIT);
    self->silent++;
    self->next_ms = now_ms + kLivenessPauseMs;
}

bool liveness_good(const liveness* self) { return !self->answered || self->silent <= kLivenessLost; }
