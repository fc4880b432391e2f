// SPDX-License-Identifier: MIT
// The openvpn engine: for machines where this process may make an interface itself, such as servers and containers.
//
// One openvpn at a time, watched by a keeper (keeper.h), driven through its management interface (management.h). It is
// told one name that the server's certificate must bear; where several are accepted, they are tried in turn, each with
// a process of its own, before anything but a TLS handshake took place. The login is sent only to a server that bears
// an accepted name.
//
// Ends by itself:
//   login and ticket, or a certificate of either side, refused   "authError" and close request 3
//   not connected within a minute; not connected again within    close request 4
//   ten; or openvpn ended, whatever the reason
#define _GNU_SOURCE
#include "engine_openvpn.h"

#include <errno.h>
#include <fcntl.h>
#include <linux/capability.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "nebrix_component.h"
#include "program.h"
#include "status.h"

static void say(const engine_listener* listener, const char* text, const char* value) {
    listener->log(listener->context, text, value);
}

// Runs openvpn until it is over for good, with one accepted name after the other.
static session_end run_names(openvpn_session* session) {
    const engine_parameters* parameters = session->parameters;
    if (parameters->server_name_count == 0)
        return openvpn_session_run(session, NULL);
    size_t name = 0;
    size_t failed = 0;
    while (failed < parameters->server_name_count) {
        session_end end = openvpn_session_run(session, parameters->server_names[name]);
        if (end != kSessionWrongName)
            return end;
        // A server that bore this name before may bear any of them now.
        failed = session->name_fits ? 1 : failed + 1;
        name = (name + 1) % parameters->server_name_count;
    }
    say(session->listener, "the server's certificate bears none of the accepted names", "");
    return kSessionRefused;
}

static void conclude(const openvpn_session* session, session_end end) {
    const engine_listener* listener = session->listener;
    if (end == kSessionStopped)
        return;
    if (end == kSessionSilence)
        say(listener, "the server does not go on after it saw the client certificate: it refuses that, most likely",
            "");
    if (end == kSessionRefused || end == kSessionSilence) {
        listener->report(listener->context, NEBRIX_STATUS_AUTH_ERROR);
        listener->request_close(listener->context, kCloseNotAuthenticated);
        return;
    }
    if (end == kSessionUnanswering)
        say(listener, "no answer from the server for too long: ", session->parameters->server->host);
    listener->request_close(listener->context, kCloseCannotRun);
}

engine_result openvpn_engine_run(const openvpn_machine* machine, const engine_parameters* parameters,
                                 const engine_listener* listener, engine_wishes* wishes) {
    openvpn_session* session = calloc(1, sizeof *session);
    if (session == NULL) {
        say(listener, "no memory", "");
        listener->request_close(listener->context, kCloseCannotRun);
        return kEngineEnded;
    }
    session->machine = machine;
    session->parameters = parameters;
    session->listener = listener;
    session->wishes = wishes;
    session->deadline = openvpn_session_now() + kSessionConnectLimit;
    conclude(session, run_names(session));
    explicit_bzero(session, sizeof *session);
    free(session);
    return kEngineEnded;
}

// Whether this thread may make an interface. What it starts may then do the same, also if this is not root: a
// capability that is not ambient ends with the process that has it.
static bool may_make_interface(void) {
    struct __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    struct __user_cap_data_struct sets[_LINUX_CAPABILITY_U32S_3];
    memset(sets, 0, sizeof sets);
    const unsigned bit = 1U << CAP_NET_ADMIN;
    if (syscall(SYS_capget, &header, sets) != 0 || (sets[0].effective & bit) == 0)
        return false;
    if (geteuid() == 0)
        return true;
    sets[0].inheritable |= bit;
    return syscall(SYS_capset, &header, sets) == 0 &&
           prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_RAISE, CAP_NET_ADMIN, 0, 0) == 0;
}

static bool available(const char* openvpn, const engine_listener* listener) {
    if (openvpn == NULL) {
        say(listener, "openvpn engine: the program openvpn is missing, which the package openvpn brings", "");
        return false;
    }
    if (!may_make_interface()) {
        say(listener, "openvpn engine: without the capability CAP_NET_ADMIN no interface can be made", "");
        return false;
    }
    int tun = open("/dev/net/tun", O_RDWR | O_CLOEXEC);
    if (tun < 0) {
        say(listener, "openvpn engine: /dev/net/tun, of the kernel's module tun, cannot be opened: ", strerror(errno));
        return false;
    }
    close(tun);
    return true;
}

static engine_result run(const engine_parameters* parameters, const engine_listener* listener, engine_wishes* wishes) {
    char openvpn[kProgramPathSize];
    char resolvconf[kProgramPathSize];
    const openvpn_machine machine = {program_find(openvpn, "openvpn"), program_find(resolvconf, "resolvconf")};
    if (!available(machine.openvpn, listener))
        return kEngineUnavailable;
    return openvpn_engine_run(&machine, parameters, listener, wishes);
}

const engine_type nebrix_engine_openvpn = {
    "openvpn", "the package openvpn, /dev/net/tun and the capability CAP_NET_ADMIN", true, run};
