// SPDX-License-Identifier: MIT
// The tunnel's news between two polls: every state taken since the last poll, the present one, and a standing wish to
// close. Synchronises itself: the engine's thread pushes, the client's thread takes.
#ifndef NEBRIX_TUNNEL_STATUS_H
#define NEBRIX_TUNNEL_STATUS_H

#include <pthread.h>
#include <stdbool.h>
#include <stddef.h>

enum {
    kStatusLength = 128,  // with the NUL; a longer line is cut
    kStatusPending = 16   // states kept between two polls; beyond, the oldest go
};

// Why the plug-in asks the client to end the session: the client ends it at once on kCloseCannotRun (no tunnel can be
// had, or it is over for good), and after six polls on kCloseNotAuthenticated.
enum { kCloseNone = 0, kCloseNotAuthenticated = 3, kCloseCannotRun = 4 };

typedef struct {
    pthread_mutex_t mutex;  // guards the rest
    char pending[kStatusPending][kStatusLength];
    size_t pending_count;
    char present[kStatusLength];  // "" before the start and after the stop
    int close_reason;
} tunnel_status;

void tunnel_status_init(tunnel_status* self);

// Forgets all news: the next poll says nothing.
void tunnel_status_clear(tunnel_status* self);

// False if that is the present state, which then stays as it is: each is told once per change.
bool tunnel_status_push(tunnel_status* self, const char* status);

// The wish stands until the news is cleared. kCloseCannotRun is not softened by a later one. False if it stands
// already.
bool tunnel_status_request_close(tunnel_status* self, int reason);

// The status list as JSON, owned by the caller (free(3)); null without memory. States not reported yet come first;
// without any, the present one is repeated, since a poll without a state means a stopped tunnel.
char* tunnel_status_take(tunnel_status* self);

// Copies the present state.
void tunnel_status_present(tunnel_status* self, char out[kStatusLength]);

#endif
