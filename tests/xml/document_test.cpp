// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "libs/xml/comment.h"
#include "libs/xml/keyreader.h"
#include "libs/xml/stringparser.h"
#include "libs/xml/text.h"
#include "libs/xml/xmlerrors.h"
#include "tests/support/systemlogcapture.h"

namespace tessel::xml {
namespace {

std::string standard(const String& text) { return std::string(text.view()); }

/// A tree in one line: name{namespace}[attributes](children), texts in "|", comments in "#".
std::string picture(const Element& element);

std::string pictureOf(const Node& node) {
    if (node.getType() == Node::Type::Text) {
        return "|" + standard(dynamic_cast<const Text&>(node).getText()) + "|";
    }
    if (node.getType() == Node::Type::Comment) {
        return "#" + standard(dynamic_cast<const Comment&>(node).getText()) + "#";
    }
    return picture(dynamic_cast<const Element&>(node));
}

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
        return picture(*StringParser::parse(String::copy(document)));
    } catch (const XmlException& error) {
        return standard(error.toString());
    }
}

TEST(XmlDocument, isReadAsThisTree) {
    const std::pair<const char*, const char*> cases[] = {
        {"<Root><Name>x</Name></Root>", "root(name(|x|))"},
        {"<a><b>1</c></a>", "a(b(|1|))"},
        {"<a x='1' y=\"2\" z=3 w/>", "a[x='1' y=\"2\" z=3 w]"},
        {"<a x=3/>", "a[x=3/]"},
        {"\n<?xml version=\"1.0\"?> <!-- <x> --> <!----><a/> trailing <", "a"},
        {"junk<a> \t\f\r\n one\n two <b/> </a>", "a(|one\n two| b)"},
        {"<a>&lt;&quot;&#39;</a>", "a(|&lt;&quot;&#39;|)"},
        {"<a x=' &quot;&#39;&lt; '/>", "a[x='\"&#39;&lt;']"},
        {"<a X = 'v>w' y = \"'\" >t</a>", "a[X='v>w' y=\"'\"](|t|)"},
        {"<a b=>c</a>", "a[b=](|c|)"},
        {"<a / b=1>c</a>", "a(|c|)"},
        {"<a>x<!--c--d-->y</a>", "a(#c--d# |y|)"},
        {"<a><!-- 1 -- ><!-- 2 -- >y</a>", "a(# 1 # # 2 # |y|)"},
        {"<a><!-- 1 -- > -->y</a>", "a(# 1 -- > # |y|)"},
        {"<a>x<?xml-any <b> ?>y</a>", "a(|y|)"},
        {"<a><b><c>rest", "a(b(c(|rest|)))"},
        {"<a><b/></a", "a(b)"},
        {"<a><!-- open <b/></a>", "a(|open| b)"},
        {"<>< b/></>", "([b])"},
        // Namespaces.
        {"<a xmlns='d'/>", "a{d}"},
        {"<P:a XMLNS='no' xmlns:P='v'/>", "a{v}[XMLNS='no']"},
        {"<p:a xmlns:p='1' xmlns:p='2'/>", "a{1}"},
        {"<a xmlns:p='v' P:X=1 p:y=2 q:z=3 xml:lang=fr />", "a[p:X=1 p:y=2 q:z=3 xml:lang=fr xmlns:p=\"v\"]"},
        // Inheritance reaches one level, from an element that declares a default.
        {"<a xmlns='d' xmlns:p='v'><p:b><p:c/></p:b></a>", "a{d}(b{v}(p:c))"},
        {"<a xmlns:p='v'><p:b/></a>", "a(p:b)"},
        {"<a xmlns='d' xmlns:p='v'><b xmlns='e' xmlns:p='w'><p:c/></b><p:d/></a>", "a{d}(b{e}(c{w}) d{v})"},
    };
    for (const auto& [text, tree] : cases) {
        EXPECT_EQ(picture(text), tree) << text;
    }
    const auto root = StringParser::parse("<a xmlns='d' xmlns:P='v'/>");
    EXPECT_EQ(root->getNamespace("p"), "v");
    EXPECT_EQ(root->getNamespace("q"), "");
}

TEST(XmlFailure, carriesTheSiteOfTheConstructUnlessItIsForgiven) {
    const char* cases[][3] = {
        {"<a xmlns=1 xmlns=2 />", "a{1}", "TRACE Element.parse redefinition of xmlns attribute"},
        {"<p:a xmlns=1 xmlns:p=2 />", "a{1}", "TRACE Element.parse redefinition of xmlns attribute : p"},
        {"<p:a/>", "p:a", "TRACE Element.parse non-defined qualified name for element"},
        {"<a Q:x/>", "a[Q:x]", "TRACE Element.parse non-defined qualified name for attribute : q"},
        {"<a>rest", "a(|rest|)", "TRACE xml.Element.fromXml no tag found: rest"},
        {"<a><!-- <b/></a>", "a(b)", "TRACE Exception.catch EXmlComment:comment:55 -> element:435"},
        {"", "EXmlStringParser:stringparser:20", ""},
        {"no tag", "EXmlStringParser:stringparser:20", ""},
        {"<?xml ", "EXmlStringParser:stringparser:32", ""},
        {"<!-- open <a/>", "EXmlStringParser:stringparser:26", "EXmlComment:comment:55 -> stringparser:25"},
        {"<root", "EXmlStringParser:stringparser:45", ""},
        {"<a b", "EXmlElement:element:311", "TRACE xml.Element.parse cannot parse attributes"},
        {"<a x='1>t</a>", "EXmlElement:element:331", "ERROR xml.AttributeValue.parse Problem with element: '1>t</a>"},
        {"<a x='1>", "EXmlElement:element:331", "EXmlAttributeValue:attributevalue:29 -> attribute:49"},
        {"<a x=\"1>", "EXmlElement:element:331", "EXmlAttributeValue:attributevalue:45 -> attribute:49"},
        {"<a x=\"1>", "EXmlElement:element:331", "EXmlAttribute:attribute:50 -> element:330"},
        {"<a>1<?xml x", "EXmlElement:element:444", "TRACE xml.Element.parse bad xml file format: <a>1<?xml x"},
        {"<a>1<bcd", "EXmlElement:element:468", "ERROR xml.element.parse bad xml file format: bcd"},
    };
    for (const auto& [text, error, line] : cases) {
        const nebrix::test::SystemLogCapture log;
        EXPECT_EQ(picture(text), error) << text;
        EXPECT_TRUE(*line == '\0' || log.contains(line)) << text;
    }
    const nebrix::test::SystemLogCapture log;
    Attribute attribute;
    EXPECT_THROW(attribute.parse("name = ", 0), EXmlAttribute);
    EXPECT_TRUE(log.contains("ERROR Attribute.parse invalid attribute value (missing value with =)"));
    EXPECT_THROW((void)Node::create(1), EXmlNode);
    EXPECT_TRUE(log.contains("cannot create for type:1"));
    EXPECT_THROW((void)Element("a").getAttributeValue("b"), EXmlNoAttribute);
}

TEST(XmlFailure, withheldExcerptsQuoteNothing) {
    for (const char* text : {"<secret>secret", "<secret x='secret>", "<a><secret", "<a><?xml secret", "<a><!-- secret",
                             "<a secret:x/>", "<!-- secret", "<a xmlns=1 secret:x=1 >"}) {
        const nebrix::test::SystemLogCapture log;
        try {
            (void)StringParser::parse(text, Excerpts::Withheld);
        } catch (const XmlException&) {
            // Whether the text parses is not the question.
        }
        EXPECT_FALSE(log.contains("secret")) << text;
        EXPECT_TRUE(log.contains("[withheld]")) << text;
    }
}

// Inputs on which a careless parser spends time in line with the square of their size. At these sizes that would be
// hours, far beyond the time that this program is given; in line with the size it is well under a second each.
constexpr std::size_t kSize = 2 * 1024 * 1024;

std::string repeated(const std::string& unit, std::size_t size = kSize) {
    std::string out;
    while (out.size() < size) {
        out += unit;
    }
    return out;
}

std::string numbered(const char* before, const char* after, unsigned count) {
    std::string out;
    for (unsigned i = 0; i < count; ++i) {
        out += before + std::to_string(i) + after;
    }
    return out;
}

TEST(XmlHostile, parsesInLinearTime) {
    const nebrix::test::SystemLogCapture log;
    std::vector<std::string> inputs{
        "<a>" + repeated("x"),
        repeated("<!-- -- >") + "<r/>",
        "<r " + repeated("p:a=1 "),
        "<r " + repeated("x ") + ">",
        "<r " + repeated("=") + ">",
        "<p:r xmlns='d' " + numbered("xmlns:p", "='x' ", 100'000) + ">" + numbered("<p", ":a p7:b=1/>", 50'000),
        "<p:r " + repeated("xmlns:p='x' ") + "/>",
        "<r " + numbered("xmlns:p", "='x' ", 40'000) + numbered("p", ":a=1 ", 40'000) + "/>",
    };
    for (const char* unit : {"<!--", "<!-- -- >", "<!-- -- >x-->", "<?xml?>", "<a/ x='>", "<a/ x=\"><b/ y='>",
                             "<a b=&quot;&#39;/>", "<p:a q:b/>", "<", "<a>x</a>"}) {
        inputs.push_back("<r>" + repeated(unit));
    }
    for (const std::string& input : inputs) {
        // A tree or an exception: either is good.
        EXPECT_FALSE(picture(input).empty()) << input.substr(0, 40);
    }
    for (const auto& line : log.lines()) {
        EXPECT_LT(line.body.size(), Storage::kLongestExcerpt + 200);
    }
    EXPECT_LT(log.lines().size(), inputs.size() * (Storage::kMostLogLines + 3));
}

TEST(XmlHostile, nestingIsLimited) {
    const nebrix::test::SystemLogCapture log;
    const auto nested = [](unsigned depth) { return repeated("<a>", std::size_t{3} * depth); };
    EXPECT_TRUE(picture(nested(Storage::kDeepestNesting)).starts_with("a(a("));
    EXPECT_FALSE(log.contains("ERROR"));
    EXPECT_EQ(picture(nested(Storage::kDeepestNesting + 1)), "EXmlElement:element:305");
    EXPECT_TRUE(log.contains("ERROR xml.Element.parse elements are nested too deeply"));
    EXPECT_EQ(picture(repeated("<a>")), "EXmlElement:element:305");
}

TEST(XmlHostile, listsAreReadInLinearTime) {
    const auto root = StringParser::parse(String::copy("<r>" + repeated("<junk/>") + repeated("<i>1</i>") + "</r>"));
    KeyReader reader(*root);
    unsigned read = 0;
    while (reader.exists("i")) {
        int value = 0;
        reader["i"].read(value);
        read += static_cast<unsigned>(value);
    }
    EXPECT_EQ(read, kSize / 8);
}

}  // namespace
}  // namespace tessel::xml
