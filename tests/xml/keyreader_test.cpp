// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "libs/base/confhelper.h"
#include "libs/xml/escape.h"
#include "libs/xml/fileparser.h"
#include "libs/xml/parser.h"
#include "libs/xml/parserreader.h"
#include "libs/xml/stringparser.h"
#include "libs/xml/writerkeywriter.h"
#include "libs/xml/xmlerrors.h"
#include "tests/support/systemlogcapture.h"
#include "tests/support/temporarydirectory.h"

namespace tessel::xml {
namespace {

template <class Error>
auto raises(const char* text) {
    return testing::Throws<Error>(testing::Property(&Exception::toString, String(text)));
}

String textOf(KeyReader& reader) {
    String value;
    reader.read(value);
    return value;
}

TEST(XmlKeyReader, givesEachElementOnce) {
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
    EXPECT_EQ(reader.size("server"), 2U) << "read or not";
    EXPECT_THAT([&] { (void)reader["server"]; }, raises<tessel::EKeyReader>("EKeyReader:keyreader:94"));
    root->getFirstChild()->hide(false);
    EXPECT_EQ(textOf(reader["server"]), "1");
    root->appendChild(std::make_unique<Element>("server"));
    EXPECT_EQ(textOf(reader["server"]), "");
    EXPECT_FALSE(reader.exists("server"));
}

/// What a reader makes of an element's text.
template <class T>
T readAs(const char* text) {
    const auto root = StringParser::parse(String::copy(std::string("<r>") + text + "</r>"));
    T value{};
    KeyReader(*root).read(value);
    return value;
}

TEST(XmlKeyReader, numbersNeverFailAndBooleansAreWords) {
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

TEST(XmlKeyReader, takesHandWrittenTextAsItLooks) {
    for (const char* text : {"a & b", "a&b;c", "&#0;&#;&#x;&", "&#xD800;&#1114112;&#-1;"}) {
        EXPECT_EQ(readAs<String>(text), text);
    }
    EXPECT_EQ(readAs<String>("&lt;&gt;&amp;&quot;&apos;&amp;lt;&#32;&#x41;"), "<>&\"'&lt; A");
    EXPECT_EQ(readAs<String>("&#233;&#8364;&#128512;"), "\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80");
}

TEST(XmlKeyReader, readsBytesAndAttributes) {
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

TEST(XmlParserReader, standsOnTheRootAndKnowsItsName) {
    const nebrix::test::TemporaryDirectory directory;
    ParserReader reader(String::copy(directory.write("f.xml", "<conf><a>1</a><conf2/></conf>")));
    EXPECT_TRUE(reader.exists("a"));
    EXPECT_EQ(reader.size("conf"), 1U);
    EXPECT_EQ(textOf(reader["conf"]["a"]), "1");
    EXPECT_FALSE(reader.exists("conf"));
    ParserReader inner(String::copy(directory.write("f.xml", "<a><a>1</a></a>")));
    EXPECT_EQ(textOf(inner["a"]), "1");
}

TEST(XmlParserReader, refusesWhatCannotBeParsed) {
    const nebrix::test::TemporaryDirectory directory;
    const std::string path = directory.path("f.xml");
    const auto load = [&] { const ParserReader reader(String::copy(path)); };
    const nebrix::test::SystemLogCapture log;
    EXPECT_THAT(load, raises<EParserReader>("EParserReader:parserreader:17"));
    EXPECT_EQ(log.lines().size(), 0U);
    for (const std::string& content :
         {std::string("text"), std::string(), "<r>" + std::string(FileParser::kLongestDocument, ' ') + "</r>"}) {
        log.clear();
        directory.write("f.xml", content);
        EXPECT_THAT(load, raises<EParserReader>("EParserReader:parserreader:25"));
        EXPECT_TRUE(log.contains("TRACE xml.ParserReader.ParserReader cannot parse the file: " + path));
    }
    std::filesystem::resize_file(path, 5ULL << 30U);
    EXPECT_THAT(load, raises<EParserReader>("EParserReader:parserreader:25"));
}

/// A few settings, one of them a list.
struct Settings : IConf {
    String password;
    Strings domains;
    bool enabled = false;
    int port = 0;

    using IConf::read;
    void read(IKeyWriter& writer) const override {
        writer["credentials"]["password"].write(password);
        IKeyWriter& list = writer["domains"];
        for (const String& domain : domains) {
            list["domain"].write(domain);
        }
        writer["enabled"].write(enabled);
        writer["port"].write(port);
    }
    void keywrite(IKeyReader& reader) override {
        reader["credentials"]["password"].read(password);
        ConfReadHelper::readList(reader, "domains", "domain", domains, true);
        reader["enabled"].read(enabled);
        reader["port"].read(port);
    }
};

struct Unwilling : IConf {
    void keywrite(IKeyReader&) override {}
};

Settings loaded(const String& document) {
    Settings settings;
    const auto root = StringParser::parse(document);
    KeyReader reader(*root);
    settings.write(static_cast<IKeyReader&>(reader));
    return settings;
}

TEST(XmlSave, laysOutOneTagALine) {
    Settings settings;
    settings.password = "a<b";
    settings.domains = {"x", "y"};
    settings.port = -1;
    EXPECT_EQ(Parser::toText("root", settings),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n"
              "<root>\r\n"
              " <credentials>\r\n"
              "  <password>a&lt;b</password>\r\n"
              " </credentials>\r\n"
              " <domains>\r\n"
              "  <domain>x</domain>\r\n"
              "  <domain>y</domain>\r\n"
              " </domains>\r\n"
              " <enabled>false</enabled>\r\n"
              " <port>-1</port>\r\n"
              "</root>\r\n");
    EXPECT_EQ(loaded(Parser::toText("root", Settings())).domains.size(), 0U);
}

TEST(XmlSave, aValueEndsTheOpenElementWhichTakesNoMore) {
    String text;
    StringWriter sink(text);
    WriterKeyWriter writer(sink);
    IKeyWriter& parent = writer["p"];
    IKeyWriter& child = parent["c"];
    child["deep"].write("1");
    parent.write("t");
    EXPECT_THAT([&] { child.write("2"); }, raises<EParser>("EParser:writerkeywriter:44"));
    EXPECT_THROW((void)child["x"], EParser);
    parent["d"].write(true);
    writer.close();
    EXPECT_EQ(text, "\r\n<p>\r\n <c>\r\n  <deep>1</deep>\r\n </c>t\r\n <d>true</d>\r\n</p>");
}

TEST(XmlSave, anyBytesComeBackAsTheyWentIn) {
    std::string every;
    for (int byte = 1; byte < 256; ++byte) {
        every += static_cast<char>(byte);
    }
    Strings values{"",      " ",   "\r\n",       " a b ",       "\t\fx\f\t", "&lt;", "&amp;amp;",
                   "&#32;", "]]>", "<!-- c -->", "</password>", "x&",        "&;",   String::copy(every + every)};
    for (unsigned a = 1; a < 256; ++a) {
        const char pair[] = {static_cast<char>(a), '&', static_cast<char>(256 - a)};
        values.push_back(String::copy(pair, 3));
    }
    Settings settings;
    settings.domains = values;
    for (const String& value : values) {
        settings.password = value;
        EXPECT_EQ(unescape(escape(value)), value);
    }
    const Settings copy = loaded(Parser::toText("root", settings));
    EXPECT_EQ(copy.password, settings.password);
    EXPECT_TRUE(copy.domains == settings.domains);
}

TEST(XmlSave, replacesTheFileOrLeavesIt) {
    const nebrix::test::TemporaryDirectory directory;
    const nebrix::test::SystemLogCapture log;
    const std::string path = directory.write("conf.xml", std::string(10'000, 'x'));
    EXPECT_THROW(Parser::write(String::copy(path), "root", Unwilling()), EParser);
    EXPECT_EQ(log.count("TRACE Exception.catch ENotImplemented:"), 1U);
    EXPECT_EQ(nebrix::test::readFile(path), std::string(10'000, 'x'));
    EXPECT_THROW(Parser::write(String::copy(directory.path("none/conf.xml")), "root", Settings()), EParser);
    Parser::write(String::copy(path), "root", Settings());
    EXPECT_EQ(textOf(ParserReader(String::copy(path))["enabled"]), "false");
    EXPECT_EQ(nebrix::test::listTree(directory.path()), "conf.xml\n");
}

}  // namespace
}  // namespace tessel::xml
