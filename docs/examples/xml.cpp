#include <tessel/base/confhelper.h>
#include <tessel/xml/keyreader.h>
#include <tessel/xml/parser.h>
#include <tessel/xml/stringparser.h>

#include <algorithm>
#include <ranges>

#include "expect.h"

using namespace tessel;

static_assert(std::ranges::forward_range<xml::Nodes> && std::ranges::view<xml::Elements>);

class Settings final : public IConf {  // the same class reads XML and JSON
public:
    String colour;
    Strings hosts;

    void keywrite(IKeyReader& reader) override {
        ConfReadHelper::readKey(reader, "colour", colour, true);
        ConfReadHelper::readList(reader, "hosts", "host", hosts, false);
    }
    void read(IKeyWriter& writer) const override {
        writer["colour"].write(colour);
        IKeyWriter& list = writer["hosts"];
        for (const String& host : hosts) {
            list["host"].write(host);
        }
    }
};

int main() {
    Settings saved;
    saved.colour = "<green>";
    saved.hosts = {"a.example", "b.example"};
    const String text = xml::Parser::toText("settings", saved);
    expect(text.find("<colour>&lt;green&gt;</colour>") != String::npos);

    const auto root = xml::StringParser::parse(text);  // views into the text; owns the document
    Settings loaded;
    xml::KeyReader(*root).read(loaded);
    expect(loaded.colour == saved.colour && loaded.hosts == saved.hosts);

    // The document itself.
    const auto list = xml::StringParser::parse("<list kind='short'><!-- two --><item n='1'/>text<item n='2'/></list>");
    int sum = 0;
    for (const xml::Element& item : list->elements()) {
        sum = 10 * sum + (item.getAttributeValue("n") == "1" ? 1 : 2);
    }
    expect(sum == 12 && std::ranges::distance(list->children()) == 4);
    const auto kind = std::ranges::find(list->attributes(), "kind", &xml::Attribute::getName);
    expect(kind->value().getValue() == "short" && kind->value().getPosition() == 12);
    try {
        (void)xml::StringParser::parse("no document");
        expect(false);
    } catch (const std::exception&) {  // logged with the place; bounded in depth and size
    }
}
