// SPDX-License-Identifier: Apache-2.0
#include "libs/base/gcobject.h"

#include "libs/base/disposeguard.h"
#include "libs/base/errors.h"
#include "libs/base/recycle.h"
#include "libs/base/runtimesites.h"

namespace tessel::gc {

const char* Object::getClassName() const { return "Object"; }

void Object::throwNullException() { raise<NullException>("tessel::NullException", sites::kNullObject); }

ObjectDispose::ObjectDispose() { disposeGuard().incr(); }

ObjectDispose::ObjectDispose(const ObjectDispose& other) : Object(other) { disposeGuard().incr(); }

void ObjectDispose::gcDestroy() const {
    Recycle::dispose(this);
    disposeGuard().decr();
}

}  // namespace tessel::gc
