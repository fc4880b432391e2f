// The seam between the tunnel plug-in and whatever builds the tunnel.
//
// The plug-in (plugin.c) owns the contract with the client: parameters, status list, log. An engine owns the tunnel:
// it is given the parameters at a start, works on threads of its own, and reports each change of its state. A real
// engine (key exchange with the server, interface, routes) takes the place of engine_simulated.c and keeps this
// header.
//
// Thread rules: create, start, stop and reconnect are called by one thread at a time. The report function is called
// on a thread of the engine, never after engine_stop() returned, and must not call the engine.
#ifndef NEBRIX_TUNNEL_ENGINE_H
#define NEBRIX_TUNNEL_ENGINE_H

#include <stdbool.h>

typedef struct engine engine;

// A state as a status line of the client's vocabulary, such as "authenticating" or "connected ip=192.0.2.1". The
// string is valid during the call only.
typedef void (*engine_report)(void* context, const char* status);

// What one tunnel needs. The strings are the caller's, valid during engine_start() only, never null.
typedef struct {
    const char* server;
    const char* hostname;
    const char* login;
    const char* organization;
    const char* ticket;
    const char* session_id;
    const char* cert_path;  // client certificate, "" without one
    const char* ca_path;
    const char* cert_password;
    const char* proxy;  // description as given to DllSetProxy2
    unsigned step_ms;   // pace of the simulated engine
} engine_parameters;

// Null without memory. Lives to the end of the process, like the plug-in's instance.
engine* engine_create(engine_report report, void* context);

// Begins to build the tunnel and returns at once. False if it is running already or no thread could be started.
bool engine_start(engine* self, const engine_parameters* parameters);

// Cuts everything short, at any state, and returns once no report will follow. Does nothing when not running.
void engine_stop(engine* self);

// Drops an established tunnel and builds it again. False unless it is established.
bool engine_reconnect(engine* self);

#endif
