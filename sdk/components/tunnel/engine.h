// SPDX-License-Identifier: MIT
// The seam between the tunnel plug-in and whatever builds the tunnel.
//
// The plug-in (plugin.c) owns the contract with the client: parameters, status list, log. tunnel.c owns the thread and
// its end, checks what all engines need alike, and asks the engines of its library in their order; the first that can
// work here has the tunnel. An engine is one function on that thread: it builds the tunnel, keeps it, says what becomes
// of it, and takes it down.
#ifndef NEBRIX_TUNNEL_ENGINE_H
#define NEBRIX_TUNNEL_ENGINE_H

#include <stdbool.h>
#include <stddef.h>

#include "certificate.h"
#include "proxydescription.h"
#include "server.h"

// What one tunnel needs. Texts are never null; constant while the engine runs, wiped afterwards. What has a type of its
// own was checked. The texts are the gateway's as they came, hostile until the engine checked them: any bytes, any
// length, line breaks included.
typedef struct {
    const tunnel_server* server;  // never null
    const tunnel_proxy* proxy;    // null: connect without one. Never there with a server over udp
    const char* hostname;         // the gateway's, without port
    const char* login;            // not empty
    const char* organization;
    const char* ticket;      // secret; not empty
    const char* session_id;  // secret
    const char* cert_path;   // client certificate, "" without one
    certificate_kind cert_kind;
    const char* ca_path;  // "" without one: then the authority can only come from a PKCS#12 at cert_path
    certificate_kind ca_kind;
    const char* cert_password;        // secret
    const char* const* server_names;  // names that the server's certificate may bear, each 1 to 255 printable bytes
    size_t server_name_count;
    const char* directory;  // of this user, where the plug-in may keep files; absolute, ends with "/"; "" without one
    unsigned step_ms;       // pace of the simulated engine
} engine_parameters;

// The engine's way back to the plug-in. Each function is called on the engine's thread and returns at once.
typedef struct {
    void* context;  // given to each function
    // A state as a status line of the client's vocabulary, such as "authenticating" or "connected ip=192.0.2.1". Once
    // per change: the same state again is passed over.
    void (*report)(void* context, const char* status);
    // A wish to end the session, with a reason of the status list (see status.h). It stands until the plug-in is
    // stopped, also when the engine has ended. A wish that ends the session at once is not softened by a later one.
    void (*request_close)(void* context, int reason);
    // One line of the component's log: text, then value; control bytes come out as "?". Never a secret.
    void (*log)(void* context, const char* text, const char* value);
} engine_listener;

// What the plug-in wants of a running engine.
typedef enum {
    kEngineNothing,
    kEngineReconnect,  // drop an established tunnel and build it again
    kEngineStop        // cut everything short; stays true once it was said
} engine_wish;

// Holds the wishes. The descriptor is readable (poll(2)) while a wish waits, and from kEngineStop on to the end; it is
// not to be read, only polled. Any thread may call both.
typedef struct engine_wishes engine_wishes;
int engine_wishes_descriptor(const engine_wishes* wishes);
engine_wish engine_wishes_take(engine_wishes* wishes);

typedef enum {
    kEngineUnavailable,  // this machine lacks what the engine needs; nothing was reported or requested, one line logged
                         // says what is missing and which package brings it
    kEngineEnded         // it was stopped, or failed and said so by a close request
} engine_result;

typedef struct {
    const char* name;   // as the log and the environment variable NEBRIX_TUNNEL_ENGINE say it: "networkmanager"
    const char* needs;  // what a machine must have for it, for people, as in "it needs ...": "the package openvpn"
    bool uses_files;    // without an authority's certificate that can be read it is not run at all

    // Builds the tunnel and keeps it until kEngineStop was taken or the tunnel is over for good; returns within a
    // second of kEngineStop, and leaves nothing behind: no process, interface, profile or file. All signals are
    // blocked on its thread; a process that it starts is to be given an empty mask again.
    engine_result (*run)(const engine_parameters* parameters, const engine_listener* listener, engine_wishes* wishes);
} engine_type;

// The engines of the library, in the order in which they are asked; ends with null. Defined once in each library.
extern const engine_type* const nebrix_engines[];

#endif
