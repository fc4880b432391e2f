// SPDX-License-Identifier: MIT
// A process that outlives whoever started it for as long as it takes to clean up, and no longer.
//
// openvpn removes its routes when it is told to end, and leaves some behind when it is killed; and it does not hear
// that it should end while it waits for a name service. So there is a keeper between this process and openvpn: forked
// from this one, never a program of its own, holding one end of a connection. When that connection ends, because the
// tunnel is stopped or this process was killed, the keeper ends openvpn: SIGTERM, once more when it would rather say
// goodbye to a server first, SIGKILL at last. Then it takes back the name servers. Nobody needs to be asked for that.
// A keeper that is killed itself takes openvpn along.
//
// Not synchronised: all functions are called by one thread, which may be any.
#ifndef NEBRIX_TUNNEL_KEEPER_H
#define NEBRIX_TUNNEL_KEEPER_H

#include <stdbool.h>
#include <stddef.h>
#include <sys/types.h>

enum {
    kKeeperInherited = 3,  // the number at which the program finds the inherited descriptor
    kKeeperRecordSize = 32
};

typedef struct {
    const char* const* arguments;  // the program's path first; ends with null
    const char* input;             // its standard input, less than 32 KiB
    size_t input_size;
    int inherited;           // a descriptor of the caller's
    const char* resolvconf;  // program that takes name servers back; null without one
} keeper_command;

typedef struct {
    pid_t keeper;  // 0: none
    pid_t program;
    int connection;  // ends, as poll(2) tells, when the program has ended
    int output;      // what the program printed first, up to 64 KiB
} program_keeper;

// False if there is no process or descriptor to be had. The program has the environment PATH and nothing else, no
// descriptor but those named here, and all signals as they are at first; it may still fail to start, and end at once.
bool keeper_start(program_keeper* self, const keeper_command* command);

// The record of name servers (an interface's, as resolvconf(8) names it) to be taken back at the end; "" for none.
void keeper_set_record(program_keeper* self, const char* record);

// Reads on in what the program printed: returns the number of bytes, 0 when there is no more by now.
size_t keeper_output(program_keeper* self, char* out, size_t size);

// Ends the program, waits until it and its keeper are gone, less than a second, and forgets them. Does nothing without
// a keeper.
void keeper_stop(program_keeper* self);

#endif
