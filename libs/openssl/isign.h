// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/memory.h"

namespace tessel {

/// What can sign bytes.
class ISign {
public:
    /// The signature over the bytes. Raises an exception of the signer when it cannot be made.
    virtual Memory sign(const unsigned char* data, unsigned long length) = 0;
    virtual ~ISign() = default;
};

}  // namespace tessel
