#include <gtest/gtest.h>

#include "libs/xml/comment.h"
#include "libs/xml/stringparser.h"
#include "libs/xml/text.h"
#include "tests/support/systemlogcapture.h"
#include "tests/xml/picture.h"

namespace tessel::xml {
namespace {

void expectPictures(const std::vector<std::pair<const char*, const char*>>& cases) {
    for (const auto& [text, tree] : cases) {
        EXPECT_EQ(picture(text), tree) << text;
    }
}

TEST(XmlDocument, IsReadAsThisTree) {
    expectPictures({
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
    });
}

TEST(XmlDocument, ResolvesNamespaces) {
    expectPictures({
        {"<a xmlns='d'/>", "a{d}"},
        {"<a xmlns='d' xmlns='e'/>", "a{d}"},
        {"<P:a XMLNS='no' xmlns:P='v'/>", "a{v}[XMLNS='no']"},
        {"<p:a xmlns:p='1' xmlns:p='2'/>", "a{1}"},
        {"<p:a xmlns='d' xmlns:p='v'/>", "a{d}"},
        {"<p:a/>", "p:a"},
        {"<a xmlns:p='v' P:X=1 p:y=2 q:z=3 xml:lang=fr />", "a[p:X=1 p:y=2 q:z=3 xml:lang=fr xmlns:p=\"v\"]"},
        // Inheritance reaches one level, from an element that declares a default.
        {"<a xmlns='d' xmlns:p='v'><p:b><p:c/></p:b></a>", "a{d}(b{v}(p:c))"},
        {"<a xmlns:p='v'><p:b/></a>", "a(p:b)"},
        {"<a xmlns='d' xmlns:p='v'><b xmlns='e' xmlns:p='w'><p:c/></b><p:d/></a>", "a{d}(b{e}(c{w}) d{v})"},
    });
    const auto root = StringParser::parse("<a xmlns='d' xmlns:P='v'/>");
    EXPECT_EQ(root->getNamespace("p"), "v");
    EXPECT_EQ(root->getNamespace("q"), "");
}

TEST(XmlDocument, SaysInTheLogWhatItForgives) {
    const char* cases[][2] = {
        {"<a xmlns=1 xmlns=2 />", "TRACE Element.parse redefinition of xmlns attribute"},
        {"<p:a xmlns=1 xmlns:p=2 />", "TRACE Element.parse redefinition of xmlns attribute : p"},
        {"<p:a/>", "TRACE Element.parse non-defined qualified name for element"},
        {"<a Q:x/>", "TRACE Element.parse non-defined qualified name for attribute : q"},
        {"<a>rest", "TRACE xml.Element.fromXml no tag found: rest"},
        {"<a><!-- <b/></a>", "TRACE Exception.catch EXmlComment:comment:55 -> element:435"},
    };
    for (const auto& [text, line] : cases) {
        const nebrix::test::SystemLogCapture log;
        (void)picture(text);
        EXPECT_TRUE(log.contains(line)) << text;
    }
}

TEST(XmlDocument, NamesAndTextsShareTheDocumentAndOutliveIt) {
    const String text = owned("<Root><name a='v'>  value </name></Root>");
    String name;
    String value;
    {
        const auto root = StringParser::parse(text);
        const Element* child = root->getNodeByPath("name");
        ASSERT_NE(child, nullptr);
        EXPECT_EQ(root->getStartPosition(), 0U);
        EXPECT_EQ(root->getEndPosition(), text.length());
        EXPECT_EQ(child->getStartPosition(), 6U);
        EXPECT_EQ(child->getEndPosition(), 33U);
        EXPECT_EQ(child->getFirstText()->getPosition(), 20U);
        EXPECT_EQ(child->getAttribute("a")->value().getPosition(), 15U);
        name = child->getName();
        value = child->getFirstText()->getText();
    }
    EXPECT_EQ(name.array(), text.array() + 7);
    EXPECT_EQ(value.array(), text.array() + 20);
    EXPECT_EQ(value, "value");
}

TEST(XmlDocument, PathsDescendExactly) {
    const auto root = StringParser::parse("<r><a><b>1</b></a><a><c/></a></r>");
    const nebrix::test::SystemLogCapture log;
    EXPECT_EQ(picture(*root->getNodeByPath("a/b")), "b(|1|)");
    for (const char* path : {"a/c", "A", "b"}) {
        EXPECT_EQ(root->getNodeByPath(path), nullptr) << path;
    }
    EXPECT_EQ(log.lines().size(), 0U);
    for (const char* path : {"", "/a", "a//b", "a/"}) {
        log.clear();
        EXPECT_EQ(root->getNodeByPath(path), nullptr) << path;
        EXPECT_EQ(log.count("ERROR Element.getNodeByPath empty item in the searched path"), 1U) << path;
    }
}

TEST(XmlDocument, IsWrittenAsItWasRead) {
    for (const char* text :
         {"<a x='1' y=\"2\" z=3/ w t='&#39;\"'><b>&lt;t</b><!--c--></a>", "<a z=3/ />",
          "<p:a xmlns:p='v' p:x=1 ><b p:y=2 /></p:a>", "<a xmlns='d' xmlns:p='v'><p:b><c/></p:b></a>"}) {
        const std::string once = standard(StringParser::parse(text)->toString());
        EXPECT_EQ(picture(once), picture(text)) << once;
        EXPECT_EQ(standard(StringParser::parse(owned(once))->toString()), once) << text;
    }
}

TEST(XmlDocument, IsBuiltByHand) {
    Element root("Root");
    root.setAttribute("a", "it's \"x\"");
    root.setAttribute("b", "two words", AttributeValue::Quote::No);
    root.setAttribute("a", "'", AttributeValue::Quote::Simple);
    for (const int type : {7, 2, 0}) {
        root.appendChild(Node::create(type));
    }
    dynamic_cast<Comment&>(*root.getFirstChild()).setText("c");
    root.getFirstText()->setText("t");
    EXPECT_EQ(root.toString(), "<root a='&#39;' b=\"two words\"><!--c-->t<></></root>");
    // The one name is taken in any case, the other one is not.
    AttributeValue value;
    value.setQuoteString("DOUBLE");
    EXPECT_EQ(value.getQuoteString(), "double");
    value.setQuoteString("Simple");
    EXPECT_EQ(value.getQuoteString(), "no");
}

}  // namespace
}  // namespace tessel::xml
