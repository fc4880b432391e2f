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
    EXPECT_FALSE(reader.exists("server"));
    EXPECT_EQ(reader.size("server"), 0U);
    try {
        (void)reader["server"];
        ADD_FAILURE();
    } catch (const tessel::EKeyReader& error) {
        EXPECT_EQ(error.toString(), "EKeyReader:keyreader:94");
    }
}

TEST(XmlKeyReader, SeesWhatIsShownAgainOrAdded) {
    const auto root = StringParser::parse("<r><a>1</a><a>2</a></r>");
    KeyReader reader(*root);
    EXPECT_EQ(textOf(reader["a"]), "1");
    EXPECT_EQ(textOf(reader["a"]), "2");
    EXPECT_FALSE(reader.exists("a"));
    root->getFirstChild()->hide(false);
    EXPECT_EQ(textOf(reader["a"]), "1");
    root->appendChild(std::make_unique<Element>("a"));
    EXPECT_EQ(textOf(reader["a"]), "");
    EXPECT_FALSE(reader.exists("a"));
}

TEST(XmlKeyReader, ReadsInterleavedKeysInAnyOrder) {
    const auto root = StringParser::parse("<r><a>1</a><b>2</b><a>3</a><b>4</b><c>5</c></r>");
    KeyReader reader(*root);
    std::string read;
    for (const char* key : {"b", "c", "a", "b", "a"}) {
        read += textOf(reader[key]);
    }
    EXPECT_EQ(read, "25143");
}

TEST(XmlKeyReader, NumbersNeverFail) {
    const struct {
        const char* text;
        int number;
        unsigned positive;
        short small;
    } cases[] = {{"80x", 80, 80, 80},        {"", 0, 0, 0}, {"-1", -1, 4294967295U, -1}, {"+7", 7, 7, 7},
                 {"65537", 65537, 65537, 1}, {"x", 0, 0, 0}};
    for (const auto& one : cases) {
        const auto root = StringParser::parse(owned(std::string("<r>") + one.text + "</r>"));
        KeyReader reader(*root);
        int number = 9;
        unsigned positive = 9;
        short small = 9;
        reader.read(number);
        reader.read(positive);
        reader.read(small);
        EXPECT_EQ(number, one.number) << one.text;
        EXPECT_EQ(positive, one.positive) << one.text;
        EXPECT_EQ(small, one.small) << one.text;
    }
}

TEST(XmlKeyReader, KnowsTheWordsOfBooleans) {
    const struct {
        const char* text;
        int meaning;
    } cases[] = {{"true", 1}, {"YES", 1}, {"1", 1}, {"False", 0}, {"no", 0},
                 {"0", 0},    {"on", -1}, {"", -1}, {"11", -1}};
    for (const auto& one : cases) {
        const nebrix::test::SystemLogCapture log;
        const auto root = StringParser::parse(owned(std::string("<r>") + one.text + "</r>"));
        KeyReader reader(*root);
        bool value = false;
        if (one.meaning < 0) {
            EXPECT_THROW(reader.read(value), EKeyReader) << one.text;
            EXPECT_TRUE(log.contains("TRACE xml.KeyReader.read cannot read boolean")) << one.text;
        } else {
            reader.read(value);
            EXPECT_EQ(value, one.meaning == 1) << one.text;
        }
    }
}

TEST(XmlKeyReader, TakesHandWrittenTextAsItLooks) {
    const struct {
        const char* text;
        const char* value;
    } cases[] = {{"a & b", "a & b"},
                 {"a&b;c", "a&b;c"},
                 {"&lt;&gt;&amp;&quot;&apos;", "<>&\"'"},
                 {"&amp;lt;", "&lt;"},
                 {"&#32;&#x41;", " A"},
                 {"&#233;&#8364;&#128512;", "\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80"},
                 {"&#0;&#;&#x;&", "&#0;&#;&#x;&"},
                 {"&#xD800;&#1114112;&#-1;", "&#xD800;&#1114112;&#-1;"}};
    for (const auto& one : cases) {
        const auto root = StringParser::parse(owned(std::string("<r>") + one.text + "</r>"));
        KeyReader reader(*root);
        EXPECT_EQ(textOf(reader), one.value) << one.text;
    }
}

TEST(XmlKeyReader, ReadsBytesAndAttributes) {
    const auto root = StringParser::parse("<r a='v'>text</r>");
    KeyReader reader(*root);
    Memory bytes;
    char rest[2] = {};
    reader.read(bytes, 2);
    EXPECT_EQ(String(bytes), "te");
    EXPECT_EQ(reader.sizeToRead(), 2U);
    reader.read(rest, 2);
    EXPECT_EQ(std::string(rest, 2), "xt");
    EXPECT_THROW(reader.read(rest, 1), EKeyReader);
    reader.setReadPos(3);
    EXPECT_EQ(reader.getReadPos(), 3U);
    EXPECT_TRUE(reader.hasAttribute("a"));
    EXPECT_EQ(reader.getAttribute("a"), "v");
    EXPECT_EQ(reader.getAttribute("b"), "");
}

class XmlParserReader : public testing::Test {
protected:
    std::string failure(const std::string& path) {
        try {
            const ParserReader reader(owned(path));
        } catch (const EParserReader& error) {
            return standard(error.toString());
        }
        return "none";
    }
    const nebrix::test::TemporaryDirectory m_directory;
};

TEST_F(XmlParserReader, StandsOnTheRootAndKnowsItsName) {
    ParserReader reader(owned(m_directory.write("f.xml", "<conf><a>1</a><conf2/></conf>")));
    EXPECT_TRUE(reader.exists("a"));
    EXPECT_EQ(reader.size("conf"), 1U);
    EXPECT_EQ(textOf(reader["conf"]["a"]), "1");
    EXPECT_FALSE(reader.exists("conf"));
    EXPECT_THROW((void)reader["conf"], EKeyReader);
}

TEST_F(XmlParserReader, PrefersAChildToTheRoot) {
    ParserReader reader(owned(m_directory.write("f.xml", "<a><a>1</a></a>")));
    EXPECT_EQ(textOf(reader["a"]), "1");
}

TEST_F(XmlParserReader, RefusesWhatCannotBeParsed) {
    const nebrix::test::SystemLogCapture log;
    EXPECT_EQ(failure(m_directory.path("missing")), "EParserReader:parserreader:17");
    EXPECT_EQ(log.lines().size(), 0U);
    for (const std::string& content :
         {std::string("text"), std::string(), "<r>" + std::string(FileParser::kLongestDocument, ' ') + "</r>"}) {
        log.clear();
        const std::string path = m_directory.write("bad.xml", content);
        EXPECT_EQ(failure(path), "EParserReader:parserreader:25");
        EXPECT_TRUE(log.contains("TRACE xml.ParserReader.ParserReader cannot parse the file: " + path));
    }
}

}  // namespace
}  // namespace tessel::xml
