// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/gcobject.h"

namespace tessel::gc {

/// Where objects of deferred disposal end.
///
/// The disposal outermost on a thread destroys its object and then, in the order of their arrival, those whose last
/// references went meanwhile on the same thread. A long chain of such objects therefore ends without recursion, and
/// no destructor runs inside another one. There is no thread behind it and nothing to wait for.
class Recycle {
public:
    /// Destroys the object exactly once, before the outermost call on this thread returns.
    static void dispose(const Object* object);
};

}  // namespace tessel::gc
