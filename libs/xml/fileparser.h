// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/xml/stringparser.h"

namespace tessel::xml {

/// Parses a file. Raises what StringParser raises, EFile when the file cannot be read, and EXmlFileParser when it is
/// longer than kLongestDocument.
class FileParser {
public:
    static constexpr unsigned kLongestDocument = 16 * 1024 * 1024;

    static std::unique_ptr<Element> parse(const String& path, Excerpts excerpts = Excerpts::Shown);
};

}  // namespace tessel::xml
