// SPDX-License-Identifier: Apache-2.0
// Two engines that do, word by word, what the organisation tells the first one and the host name the second: "end" and
// "unavailable" return, "close3" requests, "wait" logs a wish, any other is a state. Then they wait for their stop.
#define _GNU_SOURCE
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>

#include "sdk/components/tunnel/engine.h"

static bool waits(const engine_wishes* wishes, int milliseconds) {
    struct pollfd descriptor = {engine_wishes_descriptor(wishes), POLLIN, 0};
    return poll(&descriptor, 1, milliseconds) == 1;
}

static engine_wish log_wish(const engine_listener* listener, engine_wishes* wishes) {
    engine_wish wish = engine_wishes_take(wishes);
    for (; wish == kEngineNothing; wish = engine_wishes_take(wishes))
        waits(wishes, -1);
    listener->log(listener->context, "wish: ", wish == kEngineStop ? "stop" : "reconnect");
    return wish;
}

static engine_result perform(const char* script, const engine_parameters* parameters, const engine_listener* listener,
                             engine_wishes* wishes) {
    char words[256];
    char* rest = words;
    sigset_t mask;
    snprintf(words, sizeof words, "%s", script);
    for (char* word = strtok_r(words, " ", &rest); word != NULL; word = strtok_r(NULL, " ", &rest)) {
        if (strcmp(word, "unavailable") == 0 || strcmp(word, "end") == 0)
            return *word == 'u' ? kEngineUnavailable : kEngineEnded;
        if (strncmp(word, "close", 5) == 0)
            listener->request_close(listener->context, word[5] - '0');
        else if (strcmp(word, "wait") == 0)
            log_wish(listener, wishes);
        else
            listener->report(listener->context, word);
    }
    while (log_wish(listener, wishes) != kEngineStop) {
    }
    if (parameters->proxy != NULL && parameters->server_name_count == 1) {
        listener->log(listener->context, parameters->server->host, parameters->ticket);
        listener->log(listener->context, parameters->proxy->login, parameters->server_names[0]);
    }
    pthread_sigmask(SIG_SETMASK, NULL, &mask);
    if (!waits(wishes, 0) || engine_wishes_take(wishes) != kEngineStop || !sigismember(&mask, SIGTERM))
        listener->log(listener->context, "the stop does not last, or signals come", "");
    return kEngineEnded;
}

static engine_result first(const engine_parameters* values, const engine_listener* listener, engine_wishes* wishes) {
    return perform(values->organization, values, listener, wishes);
}

static engine_result second(const engine_parameters* values, const engine_listener* listener, engine_wishes* wishes) {
    return perform(values->hostname, values, listener, wishes);
}

static const engine_type kFirst = {"first", "this", true, first};
static const engine_type kSecond = {"second", "that", true, second};
const engine_type* const nebrix_engines[] = {&kFirst, &kSecond, NULL};
