// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "libs/xml/element.h"

namespace tessel::xml {

/// Parses a document held in a String. The tree keeps views into the text; nothing is copied but names with
/// upper-case letters and values with quote entities. Time and memory grow in line with the text, whatever it holds.
///
/// What is forgiven: end tags of another name, missing end tags, attributes without quotes or values, comments that
/// do not end (inside the root), anything after the root. A "<!DOCTYPE" is taken for an element.
/// Not synchronised with anything and sharing nothing: any thread may parse.
class StringParser {
public:
    /// The root element. Raises EXmlStringParser or EXmlElement.
    static std::unique_ptr<Element> parse(const String& text, Excerpts excerpts = Excerpts::Shown);
};

}  // namespace tessel::xml
