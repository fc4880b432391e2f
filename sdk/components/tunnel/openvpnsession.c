// SPDX-License-Identifier: MIT
#define _GNU_SOURCE
#include "openvpnsession.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include "openvpnevents.h"

int64_t openvpn_session_now(void) {
    struct timespec at;
    clock_gettime(CLOCK_MONOTONIC, &at);
    return (int64_t)at.tv_sec * 1000 + at.tv_nsec / 1000000;
}

static void break_off(openvpn_session* self, const char* why) {
    self->listener->log(self->listener->context, why, "");
    self->end = kSessionBroken;
}

// ---- The place where openvpn comes to: a socket without a name. It is bound in a directory of its own and both names
// are gone before openvpn is started; what is left of it is a descriptor, through which connect(2) finds it as well.

static bool bind_in(const char* directory, int listening, int* place) {
    struct sockaddr_un address = {.sun_family = AF_UNIX};
    int length = snprintf(address.sun_path, sizeof address.sun_path, "%s/m", directory);
    if (length >= (int)sizeof address.sun_path ||
        bind(listening, (const struct sockaddr*)&address, sizeof address) != 0)
        return false;
    *place = open(address.sun_path, O_PATH | O_CLOEXEC);
    unlink(address.sun_path);
    return *place >= 0 && listen(listening, 1) == 0;
}

static bool open_place(int* listening, int* place) {
    char directory[] = "/tmp/nebrix-tunnel-XXXXXX";
    *place = -1;
    *listening = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (*listening < 0 || mkdtemp(directory) == NULL)
        return false;
    bool bound = bind_in(directory, *listening, place);
    rmdir(directory);
    return bound;
}

static void accept_openvpn(openvpn_session* self, int listening) {
    static const char kBegin[] = "log on\nstate on\nhold off\nhold release\n";
    struct ucred peer = {0, 0, 0};
    socklen_t size = sizeof peer;
    int connection = accept4(listening, NULL, NULL, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (connection < 0)
        return;
    if (getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 || peer.pid != self->keeper.program) {
        self->listener->log(self->listener->context, "another process than openvpn came to its management interface",
                            "");
        close(connection);
        return;
    }
    self->management = connection;
    openvpn_send(self, kBegin, sizeof kBegin - 1);
}

// ---- What comes in

static void take_lines(openvpn_session* self) {
    char* line = NULL;
    while (self->end == kSessionGoesOn) {
        management_progress progress = management_next(&self->reader, &line);
        if (progress == kManagementMore)
            return;
        if (progress == kManagementBroken) {
            break_off(self, "openvpn's management interface says what is no line");
            return;
        }
        const management_event event = management_parse(line);
        openvpn_event(self, &event);
    }
}

static void read_management(openvpn_session* self) {
    size_t size;
    char* room = management_room(&self->reader, &size);
    ssize_t length = recv(self->management, room, size, 0);
    if (length < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (length > 0) {
        management_filled(&self->reader, (size_t)length);
        take_lines(self);
    } else if (self->refused) {
        self->end = kSessionRefused;
    } else {
        break_off(self, "openvpn ended without a word");
    }
}

// What openvpn printed before it came to the management interface: why it does not like its options.
static void log_output(openvpn_session* self) {
    char output[4096];
    size_t length = keeper_output(&self->keeper, output, sizeof output - 1);
    output[length] = '\0';
    char* rest = output;
    for (char* line = strsep(&rest, "\n"); line != NULL; line = strsep(&rest, "\n")) {
        if (strstr(line, "rror") != NULL)
            openvpn_log_foreign(self, "openvpn: ", line);
    }
    break_off(self, "openvpn ended before it began");
}

static void take_wish(openvpn_session* self) {
    static const char kRestart[] = "signal SIGUSR1\n";
    engine_wish wish = engine_wishes_take(self->wishes);
    if (wish == kEngineStop)
        self->end = kSessionStopped;
    else if (wish == kEngineReconnect && self->connected)
        openvpn_send(self, kRestart, sizeof kRestart - 1);
}

// Milliseconds until a limit is reached; -1 without one.
static int time_left(int64_t limit) {
    if (limit == 0)
        return -1;
    int64_t left = limit - openvpn_session_now();
    return left > 0 ? (int)left : 0;
}

static int64_t next_limit(const openvpn_session* self) {
    bool silence_first = self->silence_limit != 0 && (self->deadline == 0 || self->silence_limit < self->deadline);
    return silence_first ? self->silence_limit : self->deadline;
}

static void look_at_clock(openvpn_session* self) {
    if (time_left(self->silence_limit) == 0)
        self->end = kSessionSilence;
    else if (time_left(self->deadline) == 0)
        self->end = kSessionUnanswering;
}

static void wait_and_act(openvpn_session* self, int listening) {
    bool met = self->management >= 0;
    struct pollfd events[] = {{engine_wishes_descriptor(self->wishes), POLLIN, 0},
                              {met ? self->management : listening, POLLIN, 0},
                              {met ? -1 : self->keeper.connection, POLLIN, 0}};
    int count = poll(events, 3, time_left(next_limit(self)));
    look_at_clock(self);
    if (count <= 0 || self->end != kSessionGoesOn)
        return;
    if (events[0].revents != 0)
        take_wish(self);
    else if (events[1].revents != 0 && met)
        read_management(self);
    else if (events[1].revents != 0)
        accept_openvpn(self, listening);
    else
        log_output(self);
}

static bool start(openvpn_session* self, const char* server_name, int place) {
    char socket_path[32];
    snprintf(socket_path, sizeof socket_path, "/proc/self/fd/%d", kKeeperInherited);
    const char* wrong =
        openvpn_command_build(&self->command, self->parameters, self->machine->openvpn, socket_path, server_name);
    if (wrong != NULL) {
        break_off(self, wrong);
        return false;
    }
    if (self->command.left_out != NULL)
        self->listener->log(self->listener->context,
                            "not told to the server, since openvpn cannot take it: ", self->command.left_out);
    const keeper_command command = {self->command.arguments, self->command.input, self->command.input_size, place,
                                    self->machine->resolvconf};
    bool started = keeper_start(&self->keeper, &command);
    explicit_bzero(self->command.input, sizeof self->command.input);
    if (started)
        return true;
    break_off(self, "no process could be started");
    return false;
}

session_end openvpn_session_run(openvpn_session* self, const char* server_name) {
    int listening;
    int place;
    self->end = kSessionGoesOn;
    self->management = -1;
    self->silence_limit = 0;
    self->name_fits = false;
    self->logged[0] = '\0';
    self->refused = false;
    self->reader.start = 0;
    self->reader.end = 0;
    name_servers_clear(&self->offered);
    if (!open_place(&listening, &place))
        break_off(self, "no socket for openvpn's management interface could be made in /tmp");
    else if (start(self, server_name, place)) {
        while (self->end == kSessionGoesOn)
            wait_and_act(self, listening);
        keeper_stop(&self->keeper);
    }
    if (self->management >= 0)
        close(self->management);
    if (place >= 0)
        close(place);
    if (listening >= 0)
        close(listening);
    return self->end;
}
