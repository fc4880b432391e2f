// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/exception.h"

namespace tessel::http {

TESSEL_EXCEPTION(HttpException, Exception);
/// A header, or a field that would become one, cannot be written or read safely.
TESSEL_EXCEPTION(HeaderException, HttpException);
/// A header value is not of the form that its name asks for.
TESSEL_EXCEPTION(EBadHeader, HeaderException);
TESSEL_EXCEPTION(UriComponentException, HttpException);
/// A text is not a URI.
TESSEL_EXCEPTION(EUri, UriComponentException);

}  // namespace tessel::http
