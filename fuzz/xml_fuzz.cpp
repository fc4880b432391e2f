// SPDX-License-Identifier: Apache-2.0
// Any bytes parse into a tree or are refused, and a tree that was written and read twice is written the same again.

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "libs/xml/stringparser.h"
#include "libs/xml/xmlerrors.h"

namespace {

using tessel::String;
using tessel::xml::Element;
using tessel::xml::Node;

/// Names that turn into something else when they are written: what was upper case in them, or ended by a form feed,
/// reads as a declaration or a comment then.
bool canBeWritten(const Element& element) {
    if (element.name().starts_with("?xml") || element.name().starts_with("!--")) {
        return false;
    }
    for (const Node* node = element.getFirstChild(); node != nullptr; node = node->getNextSibling()) {
        if (node->getType() == Node::Type::Element && !canBeWritten(dynamic_cast<const Element&>(*node))) {
            return false;
        }
    }
    return true;
}

String rewritten(const String& text) { return tessel::xml::StringParser::parse(text)->toString(); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const String text(reinterpret_cast<const char*>(data), static_cast<unsigned>(size));
    try {
        const auto root = tessel::xml::StringParser::parse(text, tessel::xml::Excerpts::Withheld);
        (void)root->getNodeByPath("a/b//c");
        if (canBeWritten(*root)) {
            const String second = rewritten(root->toString());
            if (!(rewritten(second) == second)) {
                std::abort();
            }
        }
    } catch (const tessel::xml::XmlException&) {
        return 0;
    }
    return 0;
}
