// SPDX-License-Identifier: MIT
// Programs of the system that do one small thing.
#ifndef NEBRIX_TUNNEL_PROGRAM_H
#define NEBRIX_TUNNEL_PROGRAM_H

#include <stdbool.h>

enum { kProgramPathSize = 64 };

// The program's path from the directories where an administrator's and the system's programs are, whatever PATH says;
// null if none of them has it. out is where the path is put.
const char* program_find(char out[kProgramPathSize], const char* name);

// Runs it with the arguments, its path first and null last, and input as its standard input (less than 32 KiB); what it
// prints is lost. Waits until it ends, at most so many milliseconds, or until the descriptor stop is readable: then it
// is killed. True if it ended with status 0.
bool program_run(const char* const* arguments, const char* input, int stop, int milliseconds);

#endif
