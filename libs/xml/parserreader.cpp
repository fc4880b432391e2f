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

bool ParserReader::rootMatches(const String& key) const {
    return !m_root->hidden() && m_root->getName().equalsNoCase2(key);
}

KeyReader& ParserReader::operator[](const String& key) {
    if (!KeyReader::exists(key) && rootMatches(key)) {
        return consume(*m_root);
    }
    return KeyReader::operator[](key);
}

bool ParserReader::exists(const String& key) { return KeyReader::exists(key) || rootMatches(key); }

unsigned ParserReader::size(const String& key) {
    const unsigned children = KeyReader::size(key);
    return children == 0 && rootMatches(key) ? 1 : children;
}

}  // namespace tessel::xml
