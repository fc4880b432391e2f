// SPDX-License-Identifier: Apache-2.0
#include "libs/xml/stringparser.h"

#include "libs/xml/comment.h"
#include "libs/xml/scan.h"
#include "libs/xml/xmlerrors.h"

namespace tessel::xml {

namespace {

[[noreturn]] void fail(RaiseSite site) { raise<EXmlStringParser>("EXmlStringParser", site); }

/// Behind a comment ahead of the root.
unsigned skipComment(Storage& storage, const String& text, unsigned start) {
    try {
        return Comment(storage).parse(text, start);
    } catch (const EXmlComment& error) {
        logCaught(error, sites::kLeadingComment);
        fail(sites::kOpenLeadingComment);
    }
}

/// The "<" of the root element.
unsigned findRoot(const String& text, Excerpts excerpts) {
    const std::string_view bytes = text.view();
    Storage storage(excerpts);
    unsigned pos = 0;
    while (true) {
        const unsigned start = findByte(bytes, '<', pos);
        if (start == String::npos) {
            fail(sites::kNoTag);
        }
        if (startsAt(bytes, "<!--", start)) {
            pos = skipComment(storage, text, start);
        } else if (startsAt(bytes, "<?xml", start)) {
            const unsigned end = findText(bytes, "?>", start);
            if (end == String::npos) {
                fail(sites::kOpenDeclaration);
            }
            pos = end + 2;
        } else {
            return start;
        }
    }
}

}  // namespace

std::unique_ptr<Element> StringParser::parse(const String& text, Excerpts excerpts) {
    const unsigned start = findRoot(text, excerpts);
    const unsigned nameEnd = findClass(text.view(), scan::kNameEnd, start + 1);
    if (nameEnd == String::npos) {
        fail(sites::kOpenRoot);
    }
    auto root = std::make_unique<Element>(excerpts);
    root->openRoot(text, start, nameEnd);
    root->parse(text, nameEnd);
    return root;
}

}  // namespace tessel::xml
