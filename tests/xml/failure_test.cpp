#include <gtest/gtest.h>

#include "libs/xml/attribute.h"
#include "libs/xml/stringparser.h"
#include "libs/xml/xmlerrors.h"
#include "tests/support/systemlogcapture.h"
#include "tests/xml/picture.h"

namespace tessel::xml {
namespace {

TEST(XmlFailure, CarriesTheSiteOfTheConstruct) {
    const char* cases[][3] = {
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

TEST(XmlFailure, WithheldExcerptsQuoteNothing) {
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

TEST(XmlFailure, EveryTruncationEndsInATreeOrAnException) {
    const std::string text =
        "<?xml version='1.0'?><!--c--><R xmlns='d' a=\"1\" b='2' c=3 d><N>x</N><!--d--><?xml p?><e/></R>";
    for (std::size_t length = 0; length < text.size(); ++length) {
        const std::string result = picture(text.substr(0, length));
        EXPECT_TRUE(result.starts_with("r{d}") || result.starts_with("EXml")) << length << ": " << result;
    }
}

}  // namespace
}  // namespace tessel::xml
