// SPDX-License-Identifier: MIT
// The lines of openvpn's management interface, as Debian's management-notes.txt.gz describes it.
//
// What the other side sends is taken apart here and trusted in nothing: a line has a limit, holds no NUL, and an event
// that cannot be read is told as such. No function blocks or allocates; nothing is synchronised.
#ifndef NEBRIX_TUNNEL_MANAGEMENT_H
#define NEBRIX_TUNNEL_MANAGEMENT_H

#include <stdbool.h>
#include <stddef.h>

enum {
    kManagementLineLimit = 16 * 1024,  // with its end; openvpn's own log lines stay below 11 KiB
    kManagementValueLimit = 255,       // bytes of one word of a command; of a longer one openvpn prints the whole
    kManagementAnswerSize = 2 * kManagementValueLimit + 64
};

// Bytes as they come, lines as they end.
typedef struct {
    size_t start;  // of what was not taken yet
    size_t end;
    char data[kManagementLineLimit];
} management_reader;

typedef enum {
    kManagementMore,   // no whole line is there
    kManagementLine,   // *line is one, without its end (LF or CR LF); it is the caller's to cut until the next room
    kManagementBroken  // a line beyond the limit, or one with a NUL: nothing after it can be trusted
} management_progress;

// Where the next bytes go; *size is never 0 unless the next line is broken. Ends the life of lines.
char* management_room(management_reader* reader, size_t* size);
void management_filled(management_reader* reader, size_t size);
management_progress management_next(management_reader* reader, char** line);

typedef enum {
    kManagementOther,        // answers to commands, and events that say nothing here
    kManagementState,        // name, text: why, address, address6: of the interface; all but the name may be ""
    kManagementLog,          // name: its flags (I, W, N, F, D), text
    kManagementFatal,        // text
    kManagementNeed,         // name: of the secret that is waited for, or of whatever else is asked
    kManagementRefused,      // name: of the secret that was refused; text: why, or ""
    kManagementUp,           // the interface is there; its environment follows
    kManagementDown,         // it goes; the same
    kManagementEnvironment,  // name, text: its value; the last one is named "END"
    kManagementBad           // of those above, but not in its form
} management_kind;

typedef struct {
    management_kind kind;
    const char* name;  // never null; inside of the line, like the rest
    const char* text;
    const char* address;
    const char* address6;
} management_event;

// Cuts the line to pieces.
management_event management_parse(char* line);

// Whether value can be told in a command: printable ASCII of at most kManagementValueLimit bytes. openvpn drops other
// bytes without a word.
bool management_takes(const char* value);

// Writes the command that gives a value for a secret, line end included: verb "username" or "password", then kind.
// Returns its length. The value must be one that management_takes().
size_t management_answer(char out[kManagementAnswerSize], const char* verb, const char* kind, const char* value);

#endif
