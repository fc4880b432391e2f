// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "libs/http/authority.h"
#include "libs/http/credentials.h"
#include "libs/http/header.h"
#include "libs/http/proxyroute.h"
#include "libs/http/uri.h"
#include "libs/json/jsonreader.h"
#include "tests/support/systemlogcapture.h"

namespace tessel::http {
namespace {

std::string text(const String& value) { return std::string(value.view()); }
String bytes(const std::string& value) { return String::copy(value); }

TEST(Uri, splitsIntoItsPartsAndRebuilds) {
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

TEST(Uri, parametersKeepTheirFirstPlaceAndLastValue) {
    Uri uri = Uri::parse("https://id@gw/m?a=1&c=3&a=2");
    EXPECT_EQ(uri.getParameterNames(), (Strings{"a", "c"}));
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

TEST(Uri, refusesWhatThePatternDoesNotMatch) {
    const nebrix::test::SystemLogCapture log;
    const std::string longest(Uri::kMaxLength, 'x');
    EXPECT_EQ(Uri::parse(bytes(longest)).getPath().length(), Uri::kMaxLength);
    EXPECT_EQ(Uri::parse(bytes("s:" + std::string(1000000, '/'))).getPath().length(), 999998U);
    for (const auto& refused : {std::string("h#a\nb"), std::string("#\n"), longest + "x"}) {
        EXPECT_THROW(Uri::parse(bytes(refused)), EUri);
    }
    EXPECT_TRUE(log.contains("ERROR Uri.setScheme Invalid uri: h#a"));
    EXPECT_EQ(log.count(std::string(1025, 'x')), 0U);
    for (const auto& secret :
         {std::string("https://secret@gw/m#a\nb"), "//" + std::string(1100, 's') + "@" + longest}) {
        EXPECT_THROW(Uri::parse(bytes(secret)), EUri);
    }
    EXPECT_TRUE(log.contains("Invalid uri: https://gw/m#a"));
    EXPECT_EQ(log.count("secret") + log.count("ss"), 0U);
}

TEST(Authority, isTakenApart) {
    // User information, host and port as written; the server on the wire.
    const char* const named[][3] = {{"id@gw.example:8443", "id|gw.example|8443", "gw.example:8443"},
                                    {"GW", "|GW|", "GW"},
                                    {"id@gw:", "id|gw|", "gw:"},
                                    {"a:b@10.0.0.1:1", "a:b|10.0.0.1|1", "10.0.0.1:1"},
                                    {"id@[::1]:8443", "id|::1|8443", "[::1]:8443"},
                                    {"[fe80::1%25eth0]", "|fe80::1%25eth0|", "[fe80::1%25eth0]"},
                                    {"b\u00FCcher.example:1", "|b\u00FCcher.example|1", "xn--bcher-kva.example:1"},
                                    {"B\u00DCcher.example", "|B\u00DCcher.example|", "xn--bcher-kva.example"},
                                    {"bu\u0308cher.example", "|bu\u0308cher.example|", "xn--bcher-kva.example"},
                                    {"stra\u00DFe.example", "|stra\u00DFe.example|", "xn--strae-oqa.example"},
                                    {"b%C3%BCcher.example", "|b%C3%BCcher.example|", "xn--bcher-kva.example"}};
    for (const auto& [from, parts, wire] : named) {
        const Authority authority{String(from)};
        EXPECT_EQ(text(authority.getUserInformation() + "|" + authority.getHost() + "|" + authority.getPort()), parts);
        EXPECT_TRUE(authority.valid()) << from;
        EXPECT_EQ(text(authority.getAsciiServer()), wire);
    }
    for (const char* from :
         {"", "id@", "id@:8443", "id@@gw", "::1", "[::1", "[::1]x", "[gw]", "gw:0", "gw:65536", "gw:-1", "gw:80:1",
          "g w", "gw\n", "gw%2Fpath", "g%00w", "gw\uFF0Fpath", "\xC3(.example"}) {
        const Authority authority{String(from)};
        EXPECT_FALSE(authority.valid()) << from;
        EXPECT_EQ(authority.getAsciiServer(), authority.getServer());
    }
}

TEST(Authority, textsLoseTheirUserInformation) {
    const char* cases[][2] = {{"https://id@gw/m", "https://gw/m"},
                              {"https://i/d?x@gw/m?mail=a@b", "https://b"},
                              {"id@gw", "gw"},
                              {"https://gw/m", "https://gw/m"},
                              {"syntax in 'http://joe:pa'ss w@rd@[bad': why", "syntax in 'http://[bad': why"},
                              {"syntax in 'joe:pa//ss@[bad': why", "syntax in '[bad': why"},
                              {"syntax in 'joe:pa://ss@[bad': why", "syntax in '[bad': why"}};
    for (const auto& [from, wanted] : cases) {
        EXPECT_EQ(text(withoutUserInformation(String(from))), wanted);
    }
    const char* urls[][2] = {{"https://joe:p@ss@gw:1/a@2?x=b@c#d@e", "https://gw:1/a@2?x=b@c#d@e"},
                             {"//joe@gw", "//gw"},
                             {"/images/a@2.png", "/images/a@2.png"},
                             {"https://gw/a@2", "https://gw/a@2"},
                             {"https://joe:pa/ss@gw/x", "https://gw/x"},
                             {"https://joe:1@/ss@gw/x", "https://gw/x"},
                             {"joe:pass@gw/x", "gw/x"},
                             {"https://joe@gw/#a\n", "https://gw/#a\n"}};
    for (const auto& [from, wanted] : urls) {
        EXPECT_EQ(text(loggedUrl(String(from))), wanted);
    }
}

TEST(Uri, percentEncoding) {
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

TEST(Header, keepsLinesByNameInAnyCase) {
    Header header;
    for (const char* line :
         {"Content-Type:  text/plain \r\n", "X-A: 1\r\n", "x-a:2", " and\r\n", "no colon\r\n", "\tlost with it\r\n",
          ": no name\r\n", "content-length: 18446744073709551615\r\n", "Set-Cookie: a=b; Path=/; Secure\r\n",
          "Set-Cookie: broken\r\n", "\r\n", " after the end\r\n", ""}) {
        header.addLine(String(line));
    }
    EXPECT_EQ(header.lines(), 6U);
    EXPECT_EQ(header.get(HeaderName::ContentType), "text/plain");
    EXPECT_EQ(header.getAll("X-a"), (Strings{"1", "2 and"}));
    EXPECT_EQ(header.contentLength(), 18446744073709551615U);
    ASSERT_EQ(header.cookies().size(), 1U);
    EXPECT_EQ(text(header.cookies()[0].toNetscapeFormat()), "\tFALSE\t/\tTRUE\t0\ta\tb");
    EXPECT_FALSE(header.has("X-B"));
    for (const char* value : {"-1", "1 2", "18446744073709551616", "0x1", ""}) {
        Header refused;
        refused.addLine(String("Content-Length: " + String(value)));
        EXPECT_THROW(static_cast<void>(refused.contentLength()), EBadHeader) << value;
    }
}

TEST(Header, dropsWhatIsBeyondItsBoundsWithOneLogLine) {
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

TEST(ResponseHeader, takesTheCodeFromTheStatusLine) {
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

TEST(SetCookie, netscapeLine) {
    SetCookie cookie("Nebrix-Id", "", "gw.example", "/");
    EXPECT_EQ(text(cookie.toNetscapeFormat()), "gw.example\tFALSE\t/\tFALSE\t0\tNebrix-Id\t");
    cookie.setSecure(true);
    cookie.setValue("a b;\xC3\xA9");
    cookie.setExpires("Thu, 01 Jan 2026 00:00:00 GMT");
    EXPECT_EQ(text(cookie.toNetscapeFormat()), "gw.example\tFALSE\t/\tTRUE\t1767225600\tNebrix-Id\ta b;\xC3\xA9");
    cookie.setExpires("Thu, 01 Jan 1970 00:00:00 GMT");
    EXPECT_EQ(text(cookie.toNetscapeFormat()), "gw.example\tFALSE\t/\tTRUE\t1\tNebrix-Id\ta b;\xC3\xA9") << "ended";
}

TEST(SetCookie, refusesFieldsThatWouldForgeALine) {
    std::vector<SetCookie> cookies{
        {"", "v", "d", "/"}, {"n", "v", "#HttpOnly_d", "/"}, {"n", "v", "Set-Cookie: x=y", "/"}};
    for (const String& bad : {String("x\ny"), String("x\ty"), String("x\r"), String("x\x1f"), String("x\0y", 3)}) {
        cookies.insert(cookies.end(),
                       {{bad, "v", "d", "/"}, {"n", bad, "d", "/"}, {"n", "v", bad, "/"}, {"n", "v", "d", bad}});
    }
    for (const SetCookie& cookie : cookies) {
        EXPECT_THROW(static_cast<void>(cookie.toNetscapeFormat()), HeaderException);
    }
}

TEST(Credentials, domainLoginGoesBothWays) {
    const char* cases[][3] = {{"", "joe", "joe"}, {"DOM", "a\\b", "DOM\\a\\b"}, {"DOM", "", "DOM\\"}, {"", "", ""}};
    for (const auto& [domain, login, text] : cases) {
        Credentials credentials(login, "secret", domain);
        EXPECT_EQ(credentials.getDomainLogin(true), text);
        EXPECT_EQ(credentials.getDomainLogin(false), login);
        credentials.setDomainLogin(credentials.getDomainLogin(true));
        EXPECT_EQ(credentials.getDomain(), domain);
        EXPECT_EQ(credentials.getLogin(), login);
    }
}

TEST(ProxyRoute, isReadAsTheDesktopWritesIt) {
    const std::pair<const char*, const char*> cases[] = {{"direct://", "direct"},
                                                         {"http://p.example:3128", "http p.example:3128"},
                                                         {"http://p/", "http p:80"},
                                                         {"socks4://[::1]:9", "socks4 [::1]:9"},
                                                         {"socks5://p", "socks5 p:1080"},
                                                         {"socks://a%40b:c%3A@p:1", "socks5 p:1, socks4 p:1"},
                                                         {"https://p:1", ""},
                                                         {"http://p:70000", ""},
                                                         {"", ""}};
    for (const auto& [answer, expected] : cases) {
        std::vector<ProxyRoute> routes;
        EXPECT_EQ(addRoutes(routes, answer), *expected != '\0') << answer;
        Strings shown;
        for (const ProxyRoute& route : routes) {
            shown.push_back(route.shown());
        }
        EXPECT_EQ(String(", ").glue(shown), expected);
        if (routes.size() == 2) {
            EXPECT_EQ(routes[1].proxy.getCredentials().getLogin(), "a@b");
            EXPECT_EQ(routes[1].proxy.getCredentials().getPassword(), "c:");
        }
    }
}

}  // namespace
}  // namespace tessel::http
