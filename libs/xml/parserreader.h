// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/xml/keyreader.h"

namespace tessel::xml {

/// Parses a file and serves its keys; stands on the root element and owns the document. Meant to be read once, in the
/// order in which the object asks for its keys.
///
/// The root's own name is a key as well, as long as no child has it: what Parser::write saved under a root key is
/// found under that key.
class ParserReader final : public KeyReader {
public:
    /// Raises EParserReader when there is no such file, and, after a log line, when it cannot be parsed or is longer
    /// than FileParser::kLongestDocument. EFile when it exists and cannot be read.
    explicit ParserReader(const String& path, Excerpts excerpts = Excerpts::Shown);

    unsigned size(const String& key) override;
    [[nodiscard]] const char* getClassName() const override { return "ParserReader"; }

private:
    explicit ParserReader(std::unique_ptr<Element> root) noexcept : KeyReader(*root), m_root(std::move(root)) {}
    Element* find(const String& key) override;
    [[nodiscard]] bool isRoot(const String& key) const;

    std::unique_ptr<Element> m_root;
};

}  // namespace tessel::xml
