// SPDX-License-Identifier: Apache-2.0
#include "libs/xml/parserreader.h"

#include "libs/base/file.h"
#include "libs/base/log.h"
#include "libs/xml/fileparser.h"
#include "libs/xml/xmlerrors.h"

namespace tessel::xml {

namespace {

std::unique_ptr<Element> parseFile(const String& path, Excerpts excerpts) {
    if (!File::exists(path)) {
        raise<EParserReader>("EParserReader", sites::kNoFile);
    }
    try {
        return FileParser::parse(path, excerpts);
    } catch (const XmlException& error) {
        logCaught(error, sites::kParseCaught);
    }
    log(LogCategory::Trace, "xml.ParserReader", "ParserReader", String("cannot parse the file: " + path));
    raise<EParserReader>("EParserReader", sites::kNotParsable);
}

}  // namespace

ParserReader::ParserReader(const String& path, Excerpts excerpts) : ParserReader(parseFile(path, excerpts)) {}

bool ParserReader::isRoot(const String& key) const { return m_root->getName().equalsNoCase2(key); }

Element* ParserReader::find(const String& key) {
    Element* const child = KeyReader::find(key);
    return child == nullptr && !m_root->hidden() && isRoot(key) ? m_root.get() : child;
}

unsigned ParserReader::size(const String& key) {
    const unsigned children = KeyReader::size(key);
    return children == 0 && isRoot(key) ? 1 : children;
}

}  // namespace tessel::xml
