// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/stringaddition.h"

namespace tessel {

/// Raw storage for the blocks of StringAddition chains. Any thread may take, and another may give back.
///
/// Each thread keeps a few blocks of its own and takes them without any synchronisation. Behind that stands a
/// reserve of static storage for the whole process, claimed by setting bits of one atomic word, and only when that is
/// used up the heap. A thread that ends gives back what it kept. Usable before main() and after it.
class StringAdditionStore {
public:
    static void* take();
    /// The block's parts are gone already.
    static void giveBack(StringAdditionBlock* block) noexcept;
};

}  // namespace tessel
