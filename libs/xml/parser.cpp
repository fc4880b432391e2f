// SPDX-License-Identifier: Apache-2.0
#include "libs/xml/parser.h"

#include "libs/base/file.h"
#include "libs/xml/writerkeywriter.h"
#include "libs/xml/xmlerrors.h"

namespace tessel::xml {

String Parser::toText(const String& rootKey, const ISerialize& object) {
    String text("<?xml version=\"1.0\" encoding=\"UTF-8\"?>");
    StringWriter sink(text);
    WriterKeyWriter writer(sink);
    object.read(static_cast<IKeyWriter&>(writer[rootKey]));
    writer.close();
    return text.append("\r\n");
}

void Parser::write(const String& path, const String& rootKey, const ISerialize& object) {
    try {
        File::writeAtomically(path, toText(rootKey, object));
    } catch (const Exception& error) {
        logCaught(error, sites::kSaveCaught);
        raise<EParser>("EParser", sites::kNotSaved, error.facts());
    }
}

}  // namespace tessel::xml
