// SPDX-License-Identifier: MIT
#include "wishes.h"

#include <stdint.h>
#include <sys/eventfd.h>
#include <unistd.h>

bool engine_wishes_init(engine_wishes* self) {
    pthread_mutex_init(&self->mutex, NULL);
    self->stop = false;
    self->reconnect = false;
    self->descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    return self->descriptor >= 0;
}

static void drain(const engine_wishes* self) {
    uint64_t count;
    // Fails when there is nothing to read, which is as good.
    if (read(self->descriptor, &count, sizeof count) < 0)
        return;
}

void engine_wishes_reset(engine_wishes* self) {
    pthread_mutex_lock(&self->mutex);
    self->stop = false;
    self->reconnect = false;
    drain(self);
    pthread_mutex_unlock(&self->mutex);
}

void engine_wishes_put(engine_wishes* self, engine_wish wish) {
    const uint64_t one = 1;
    pthread_mutex_lock(&self->mutex);
    self->stop = self->stop || wish == kEngineStop;
    self->reconnect = self->reconnect || wish == kEngineReconnect;
    // Fails only with a counter that is full, and readable all the same.
    if (write(self->descriptor, &one, sizeof one) < 0)
        drain(self);
    pthread_mutex_unlock(&self->mutex);
}

int engine_wishes_descriptor(const engine_wishes* wishes) { return wishes->descriptor; }

engine_wish engine_wishes_take(engine_wishes* wishes) {
    pthread_mutex_lock(&wishes->mutex);
    engine_wish wish = wishes->stop ? kEngineStop : wishes->reconnect ? kEngineReconnect : kEngineNothing;
    wishes->reconnect = false;
    if (wish != kEngineStop)
        drain(wishes);
    pthread_mutex_unlock(&wishes->mutex);
    return wish;
}
