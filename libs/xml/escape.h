// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/string.h"

namespace tessel::xml {

/// Makes document text of a value: any bytes but NUL come back from unescape() as they were, through the parser as
/// well, which takes blanks at the ends away. "&", "<" and ">" become entities, control bytes and the blanks at the
/// ends character references. A value without any of these is returned as it is, without a copy.
String escape(const String& value);

/// Undoes escape(). Of entities it knows "&lt;", "&gt;", "&amp;", "&quot;", "&apos;" and the character references
/// from 1 to 0x10FFFF (as UTF-8; surrogates are none); any other "&" stands for itself, so that text written by
/// hand without escapes reads as it looks.
String unescape(const String& text);

}  // namespace tessel::xml
