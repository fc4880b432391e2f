// SPDX-License-Identifier: MIT
// Fetching one published file and opening it with a viewer. No state; any thread.
#ifndef NEBRIX_NOTUNNEL_RESOURCE_H
#define NEBRIX_NOTUNNEL_RESOURCE_H

#include <stdbool.h>

#include "common/text.h"
#include "nebrix_component.h"

// Appends the gateway path of the published file name: "/resources/" and the name, every byte outside letters, digits,
// "-", ".", "_" and "~" percent-encoded (RFC 3986).
void resource_url(nebrix_text* url, const char* name);

// Fetches url to directory/name, for its owner alone, and appends that path to path. directory is made if missing; an
// earlier file of the name is replaced only by a whole new one. False if anything fails; path is unspecified then.
bool resource_fetch(NebrixDownloadFileTo download, const char* url, const char* directory, const char* name,
                    nebrix_text* path);

// Starts program (an absolute path) with file as its only argument, in a session of its own, without the caller's
// descriptors beyond the standard streams and with default signals. Does not wait for it. False if it cannot be
// started.
bool resource_view(const char* program, const char* file);

#endif
