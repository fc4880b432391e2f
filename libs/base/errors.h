// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/exception.h"

namespace tessel {

/// Input and output failed.
TESSEL_EXCEPTION(IOException, Exception);
/// An empty reference was used.
TESSEL_EXCEPTION(NullException, Exception);
/// An operation of an interface that its implementation does not offer.
TESSEL_EXCEPTION(ENotImplemented, Exception);
/// An unkeyed source ended early or cannot give the type asked for.
TESSEL_EXCEPTION(EReader, IOException);
/// A keyed source has not what was asked for.
TESSEL_EXCEPTION(EKeyReader, Exception);
/// A text sink cannot take the type offered.
TESSEL_EXCEPTION(EStringWriter, Exception);
/// A list's item is not what the list holds.
TESSEL_EXCEPTION(EBadItem, Exception);

}  // namespace tessel
