#include "tests/xml/picture.h"

#include "libs/xml/comment.h"
#include "libs/xml/stringparser.h"
#include "libs/xml/text.h"
#include "libs/xml/xmlerrors.h"

namespace tessel::xml {

namespace {

std::string pictureOf(const Node& node) {
    switch (node.getType()) {
        case Node::Type::Text:
            return "|" + standard(dynamic_cast<const Text&>(node).getText()) + "|";
        case Node::Type::Comment:
            return "#" + standard(dynamic_cast<const Comment&>(node).getText()) + "#";
        case Node::Type::Element:
            break;
    }
    return picture(dynamic_cast<const Element&>(node));
}

}  // namespace

std::string picture(const Element& element) {
    std::string out = standard(element.getName());
    if (!element.getNamespace().empty()) {
        out += "{" + standard(element.getNamespace()) + "}";
    }
    std::string attributes;
    for (const Attribute* at = element.getFirstAttribute(); at != nullptr; at = at->getNext()) {
        attributes += (attributes.empty() ? "" : " ") + standard(at->toString());
    }
    std::string children;
    for (const Node* child = element.getFirstChild(); child != nullptr; child = child->getNextSibling()) {
        children += (children.empty() ? "" : " ") + pictureOf(*child);
    }
    return out + (attributes.empty() ? "" : "[" + attributes + "]") + (children.empty() ? "" : "(" + children + ")");
}

std::string picture(const std::string& document) {
    try {
        return picture(*StringParser::parse(owned(document)));
    } catch (const XmlException& error) {
        return standard(error.toString());
    }
}

}  // namespace tessel::xml
