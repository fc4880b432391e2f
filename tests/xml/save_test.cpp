#include <gtest/gtest.h>

#include "libs/base/confhelper.h"
#include "libs/xml/escape.h"
#include "libs/xml/keyreader.h"
#include "libs/xml/parser.h"
#include "libs/xml/parserreader.h"
#include "libs/xml/stringparser.h"
#include "libs/xml/writerkeywriter.h"
#include "libs/xml/xmlerrors.h"
#include "tests/support/systemlogcapture.h"
#include "tests/support/temporarydirectory.h"
#include "tests/xml/picture.h"

namespace tessel::xml {
namespace {

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

TEST(XmlSave, LaysOutOneTagALine) {
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

TEST(XmlSave, AnyBytesComeBackAsTheyWentIn) {
    std::string every;
    for (int byte = 1; byte < 256; ++byte) {
        every += static_cast<char>(byte);
    }
    Strings values{"",      " ",   "\r\n",       " a b ",       "\t\fx\f\t", "&lt;", "&amp;amp;",
                   "&#32;", "]]>", "<!-- c -->", "</password>", "x&",        "&;",   owned(every + every)};
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

TEST(XmlSave, ReplacesTheFileOrLeavesIt) {
    const nebrix::test::TemporaryDirectory directory;
    const nebrix::test::SystemLogCapture log;
    const std::string path = directory.write("conf.xml", std::string(10'000, 'x'));
    EXPECT_THROW(Parser::write(owned(path), "root", Unwilling()), EParser);
    EXPECT_EQ(log.count("TRACE Exception.catch ENotImplemented:"), 1U);
    EXPECT_EQ(nebrix::test::readFile(path), std::string(10'000, 'x'));
    EXPECT_THROW(Parser::write(owned(directory.path("none/conf.xml")), "root", Settings()), EParser);
    Settings settings;
    settings.password = "plain";
    Parser::write(owned(path), "root", settings);
    Settings copy;
    ParserReader reader(owned(path));
    reader["root"].read(copy);
    EXPECT_EQ(copy.password, "plain");
    EXPECT_EQ(nebrix::test::listTree(directory.path()), "conf.xml\n");
}

}  // namespace
}  // namespace tessel::xml
