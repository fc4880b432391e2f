// SPDX-License-Identifier: Apache-2.0
#include "libs/xml/fileparser.h"

#include <cerrno>

#include "libs/base/file.h"
#include "libs/xml/xmlerrors.h"

namespace tessel::xml {

std::unique_ptr<Element> FileParser::parse(const String& path, Excerpts excerpts) {
    String text;
    try {
        text = File::readAllFile(path, kLongestDocument);
    } catch (const EFile& caught) {
        if (caught.facts().systemError == EFBIG) {
            raise<EXmlFileParser>("EXmlFileParser", sites::kDocumentTooLong);
        }
        throw;
    }
    return StringParser::parse(text, excerpts);
}

}  // namespace tessel::xml
