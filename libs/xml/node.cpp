// SPDX-License-Identifier: Apache-2.0
#include "libs/xml/node.h"

#include "libs/base/numbers.h"
#include "libs/xml/comment.h"
#include "libs/xml/element.h"
#include "libs/xml/text.h"
#include "libs/xml/xmlerrors.h"

namespace tessel::xml {

namespace {

template <class T>
std::unique_ptr<Node> makeNode() {
    return std::make_unique<T>();
}

struct Factory {
    int type;
    std::unique_ptr<Node> (*make)();
};

constexpr Factory kFactories[] = {{static_cast<int>(Node::Type::Element), &makeNode<Element>},
                                  {static_cast<int>(Node::Type::Text), &makeNode<Text>},
                                  {static_cast<int>(Node::Type::Comment), &makeNode<Comment>}};

}  // namespace

std::unique_ptr<Node> Node::create(int type) {
    for (const Factory& factory : kFactories) {
        if (factory.type == type) {
            return factory.make();
        }
    }
    log(LogCategory::Error, "xml.Node", "create", String("cannot create for type:" + tessel::toString(type)));
    raise<EXmlNode>(tessel::toString(type) + ": invalid xml type", sites::kUnknownType);
}

void Node::hide(bool hidden) noexcept {
    if (m_hidden && !hidden) {
        ++storage().unhidings;
    }
    m_hidden = hidden;
}

String Node::toString() const {
    String out;
    toXml(out);
    return out;
}

}  // namespace tessel::xml
