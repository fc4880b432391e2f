#include <gtest/gtest.h>

#include "libs/base/confhelper.h"
#include "libs/base/file.h"
#include "libs/xml/fileparser.h"
#include "libs/xml/parserreader.h"
#include "libs/xml/stringparser.h"
#include "libs/xml/xmlerrors.h"
#include "tests/support/systemlogcapture.h"
#include "tests/support/temporarydirectory.h"
#include "tests/xml/picture.h"

namespace tessel::xml {
namespace {

std::string textOf(KeyReader& reader) {
    String value;
    reader.read(value);
    return standard(value);
}

TEST(XmlKeyReader, GivesEachElementOnce) {
    const auto root = StringParser::parse("<r><server>1</server><x/>t<Server>2</Server><other>3</other></r>");
    KeyReader reader(*root);
    EXPECT_EQ(reader.size("server"), 2U);
    EXPECT_EQ(textOf(reader["server"]), "1");
    EXPECT_TRUE(reader.exists("server"));
    EXPECT_FALSE(reader.exists("Server"));
    KeyReader& second = reader["server"];
    EXPECT_EQ(textOf(second), "2");
    EXPECT_EQ(&reader["other"], &second);
    EXPECT_EQ(textOf(second), "3");
    EXPECT_FALSE(reader.exists("server"));
    EXPECT_EQ(reader.size("server"), 0U);
    try {
        (void)reader["server"];
        ADD_FAILURE();
    } catch (const tessel::EKeyReader& error) {
        EXPECT_EQ(error.toString(), "EKeyReader:keyreader:94");
    }
    root->getFirstChild()->hide(false);
    EXPECT_EQ(textOf(reader["server"]), "1");
    root->appendChild(std::make_unique<Element>("server"));
    EXPECT_EQ(textOf(reader["server"]), "");
    EXPECT_FALSE(reader.exists("server"));
}

/// What a reader makes of an element's text.
template <class T>
T readAs(const char* text) {
    const auto root = StringParser::parse(owned(std::string("<r>") + text + "</r>"));
    T value{};
    KeyReader(*root).read(value);
    return value;
}

TEST(XmlKeyReader, NumbersNeverFailAndBooleansAreWords) {
    const std::pair<const char*, int> numbers[] = {{"80x", 80}, {"", 0}, {"-1", -1}, {"+7", 7}, {"65537", 65537}};
    for (const auto& [text, number] : numbers) {
        EXPECT_EQ(readAs<int>(text), number) << text;
        EXPECT_EQ(readAs<unsigned>(text), static_cast<unsigned>(number)) << text;
        EXPECT_EQ(readAs<short>(text), static_cast<short>(number)) << text;
    }
    const std::pair<const char*, const char*> words[] = {{"true", "False"}, {"YES", "no"}, {"1", "0"}};
    for (const auto& [yes, no] : words) {
        EXPECT_TRUE(readAs<bool>(yes)) << yes;
        EXPECT_FALSE(readAs<bool>(no)) << no;
    }
    for (const char* text : {"on", "", "11"}) {
        const nebrix::test::SystemLogCapture log;
        EXPECT_THROW(readAs<bool>(text), EKeyReader) << text;
        EXPECT_TRUE(log.contains("TRACE xml.KeyReader.read cannot read boolean")) << text;
    }
}

TEST(XmlKeyReader, TakesHandWrittenTextAsItLooks) {
    for (const char* text : {"a & b", "a&b;c", "&#0;&#;&#x;&", "&#xD800;&#1114112;&#-1;"}) {
        EXPECT_EQ(readAs<String>(text), text);
    }
    EXPECT_EQ(readAs<String>("&lt;&gt;&amp;&quot;&apos;&amp;lt;&#32;&#x41;"), "<>&\"'&lt; A");
    EXPECT_EQ(readAs<String>("&#233;&#8364;&#128512;"), "\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80");
}

TEST(XmlKeyReader, ReadsBytesAndAttributes) {
    const auto root = StringParser::parse("<r a='v'>text</r>");
    KeyReader reader(*root);
    Memory bytes;
    reader.read(bytes, 3);
    EXPECT_EQ(String(bytes), "tex");
    EXPECT_EQ(reader.sizeToRead(), 1U);
    EXPECT_THROW(reader.read(bytes, 2), EKeyReader);
    EXPECT_TRUE(reader.hasAttribute("a"));
    EXPECT_EQ(reader.getAttribute("a"), "v");
    EXPECT_EQ(reader.getAttribute("b"), "");
}

TEST(XmlParserReader, StandsOnTheRootAndKnowsItsName) {
    const nebrix::test::TemporaryDirectory directory;
    ParserReader reader(owned(directory.write("f.xml", "<conf><a>1</a><conf2/></conf>")));
    EXPECT_TRUE(reader.exists("a"));
    EXPECT_EQ(reader.size("conf"), 1U);
    EXPECT_EQ(textOf(reader["conf"]["a"]), "1");
    EXPECT_FALSE(reader.exists("conf"));
    ParserReader inner(owned(directory.write("f.xml", "<a><a>1</a></a>")));
    EXPECT_EQ(textOf(inner["a"]), "1");
}

TEST(XmlParserReader, RefusesWhatCannotBeParsed) {
    const nebrix::test::TemporaryDirectory directory;
    const std::string path = directory.path("f.xml");
    const auto failure = [&] {
        try {
            const ParserReader reader(owned(path));
        } catch (const EParserReader& error) {
            return standard(error.toString());
        }
        return std::string("none");
    };
    const nebrix::test::SystemLogCapture log;
    EXPECT_EQ(failure(), "EParserReader:parserreader:17");
    EXPECT_EQ(log.lines().size(), 0U);
    for (const std::string& content :
         {std::string("text"), std::string(), "<r>" + std::string(FileParser::kLongestDocument, ' ') + "</r>"}) {
        log.clear();
        directory.write("f.xml", content);
        EXPECT_EQ(failure(), "EParserReader:parserreader:25");
        EXPECT_TRUE(log.contains("TRACE xml.ParserReader.ParserReader cannot parse the file: " + path));
    }
}

}  // namespace
}  // namespace tessel::xml
