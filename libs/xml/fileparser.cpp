#include "libs/xml/fileparser.h"

#include "libs/base/file.h"
#include "libs/xml/xmlerrors.h"

namespace tessel::xml {

std::unique_ptr<Element> FileParser::parse(const String& path, Excerpts excerpts) {
    File file;
    if (file.open(path, File::kIn) && file.wideSize() > kLongestDocument) {
        raise<EXmlFileParser>("EXmlFileParser", sites::kDocumentTooLong);
    }
    return StringParser::parse(File::readAllFile(path, kLongestDocument), excerpts);
}

}  // namespace tessel::xml
