// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/serialize.h"

namespace tessel::xml {

/// Saves objects as documents that ParserReader reads.
class Parser {
public:
    /// Saves the object, atomically, in the file: its keys stand below a root element of this name. Raises EParser,
    /// after logging what was caught.
    static void write(const String& path, const String& rootKey, const ISerialize& object);

    /// The same document as a text, in UTF-8 as far as the object's values are. Raises what the object raises.
    static String toText(const String& rootKey, const ISerialize& object);
};

}  // namespace tessel::xml
