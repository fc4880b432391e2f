#include "libs/http/uri.h"

#include <gtest/gtest.h>

#include "tests/support/systemlogcapture.h"

using tessel::String;
using tessel::http::EUri;
using tessel::http::Uri;

namespace {

std::string text(const String& value) { return std::string(value.view()); }
String bytes(const std::string& value) { return String::copy(value); }

TEST(Uri, SplitsIntoItsPartsAndRebuilds) {
    // The text, its parts, and what is rebuilt where that is not the text again.
    const std::string cases[][3] = {{"https://id@gw:8443/a/b?x=1&y#f?g", "https|id@gw:8443|/a/b|x=1&y|f?g", ""},
                                    {"//h", "|h|||", ""},
                                    {"mailto:a@b", "mailto||a@b||", ""},
                                    {"", "||||", ""},
                                    {"h:///p?#", "h||/p||", "h:/p"},
                                    {":x", "||:x||", ""},
                                    {"s://h/?a=1&c=3&a=2", "s|h|/|a=2&c=3|", "s://h/?a=2&c=3"},
                                    // The empty piece and "=v" are one parameter without name.
                                    {"?a=b=c&&=v&n=", "|||a=b=c&=v&n|", "?a=b=c&=v&n"},
                                    {"s://h/\xFF\xC0?\x80=\xFE#\xF5", "s|h|/\xFF\xC0|\x80=\xFE|\xF5", ""},
                                    {std::string("s:\0//h", 6), std::string("s||\0//h||", 9), ""},
                                    {"s://h\n/p\n?q\n=1#f\r", "s|h\n|/p\n|q\n=1|f\r", ""}};
    for (const auto& [whole, parts, rebuilt] : cases) {
        const Uri uri = Uri::parse(bytes(whole));
        EXPECT_EQ(text(String("|").glue(
                      {uri.getScheme(), uri.getAuthority(), uri.getPath(), uri.getQuery(), uri.getFragment()})),
                  parts);
        EXPECT_EQ(text(uri.getFullUri()), rebuilt.empty() ? whole : rebuilt);
    }
}

TEST(Uri, ParametersKeepTheirFirstPlaceAndLastValue) {
    Uri uri = Uri::parse("https://id@gw/m?a=1&c=3&a=2");
    EXPECT_EQ(uri.getParameterNames(), (tessel::Strings{"a", "c"}));
    uri.setParameter("clientversion", "8");
    uri.setParameter("c", "");
    uri.setScheme("http");
    uri.setAuthority("gw");
    const Uri copy = uri;
    uri.delParameter("a");
    uri.delParameter("missing");
    EXPECT_EQ(text(uri.getFullUri()), "http://gw/m?c&clientversion=8");
    EXPECT_EQ(text(copy.getFullUri()), "http://gw/m?a=2&c&clientversion=8");
}

TEST(Uri, RefusesWhatThePatternDoesNotMatch) {
    const nebrix::test::SystemLogCapture log;
    const std::string longest(Uri::kMaxLength, 'x');
    EXPECT_EQ(Uri::parse(bytes(longest)).getPath().length(), Uri::kMaxLength);
    EXPECT_EQ(Uri::parse(bytes("s:" + std::string(1000000, '/'))).getPath().length(), 999998U);
    for (const auto& refused : {std::string("h#a\nb"), std::string("#\n"), longest + "x"}) {
        EXPECT_THROW(Uri::parse(bytes(refused)), EUri);
    }
    EXPECT_TRUE(log.contains("ERROR Uri.setScheme Invalid uri: h#a"));
    EXPECT_EQ(log.count(std::string(1025, 'x')), 0U);
}

TEST(Uri, PercentEncoding) {
    const std::string cases[][2] = {
        {"a b~-_.Z9", "a%20b~-_.Z9"}, {"", ""}, {std::string("\0\xFF/?", 4), "%00%FF%2F%3F"}};
    for (const auto& [in, out] : cases) {
        EXPECT_EQ(text(Uri::encode(bytes(in))), out);
        EXPECT_EQ(text(Uri::decode(bytes(out))), in);
    }
    EXPECT_EQ(text(Uri::encode("/a b/c", "/", " ")), "/ab/c");
    EXPECT_EQ(text(Uri::encode("aXb", "X", "X")), "ab");
    EXPECT_EQ(text(Uri::decode("%4a%4A+%4%%zz%4")), "JJ+%4%%zz%4");
}

}  // namespace
