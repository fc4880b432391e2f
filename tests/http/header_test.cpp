#include "libs/http/header.h"

#include <gtest/gtest.h>

#include "tests/support/systemlogcapture.h"

using tessel::String;
using tessel::Strings;
using tessel::http::Header;
using tessel::http::HeaderName;
using tessel::http::ResponseHeader;

namespace {

TEST(Header, KeepsLinesByNameInAnyCase) {
    Header header;
    for (const char* line :
         {"Content-Type:  text/plain \r\n", "X-A: 1\r\n", "x-a:2", " and\r\n", "no colon\r\n", "\tlost with it\r\n",
          ": no name\r\n", "content-length: 18446744073709551615\r\n", "Set-Cookie: a=b; Path=/\r\n",
          "Set-Cookie: broken\r\n", "\r\n", " after the end\r\n", ""}) {
        header.addLine(String(line));
    }
    EXPECT_EQ(header.lines(), 6U);
    EXPECT_EQ(header.get(HeaderName::ContentType), "text/plain");
    EXPECT_EQ(header.getAll("X-a"), (Strings{"1", "2 and"}));
    EXPECT_EQ(header.contentLength(), 18446744073709551615U);
    ASSERT_EQ(header.cookies().size(), 1U);
    EXPECT_EQ(header.cookies()[0].getPath(), "/");
    EXPECT_FALSE(header.has("X-B"));
    for (const char* value : {"-1", "1 2", "18446744073709551616", "0x1", ""}) {
        Header refused;
        refused.addLine(String("Content-Length: " + String(value)));
        EXPECT_THROW(static_cast<void>(refused.contentLength()), tessel::http::EBadHeader) << value;
    }
}

TEST(Header, DropsWhatIsBeyondItsBoundsWithOneLogLine) {
    const nebrix::test::SystemLogCapture log;
    Header many;
    for (unsigned i = 0; i < Header::kMaxLines + 5; ++i) {
        many.addLine("a: b");
    }
    EXPECT_EQ(many.lines(), Header::kMaxLines);
    EXPECT_EQ(many.dropped(), 5U);
    EXPECT_EQ(log.count("WARNING Header.addLine"), 1U);

    Header folded;
    folded.addLine("a: b");
    const String piece = String::copy((" " + std::string(999, 'x')).c_str());
    for (unsigned i = 0; i < 1000; ++i) {
        folded.addLine(piece);
    }
    EXPECT_LE(folded.get("a").length(), Header::kMaxBytes);
    EXPECT_EQ(folded.dropped(), 738U);
}

TEST(ResponseHeader, TakesTheCodeFromTheStatusLine) {
    const std::pair<const char*, int> cases[] = {{"HTTP/1.1 200 OK\r\n", 200},
                                                 {"HTTP/1.0  404", 404},
                                                 {"HTTP/1.1 500x", 500},
                                                 {"HTTP/1.1 -5", 0},
                                                 {"HTTP/1.1", 0},
                                                 {"HTTP/1.1 ", 0},
                                                 {"HTTP/1.1 99999999999", 0},
                                                 {"", 0}};
    for (const auto& [line, code] : cases) {
        EXPECT_EQ(ResponseHeader(String(line)).getResponseCode(), code) << line;
    }
}

}  // namespace
