// Inputs on which a careless parser spends time in line with the square of their size. At these sizes that would be
// hours, far beyond the time that this program is given; in line with the size it is well under a second each.

#include <gtest/gtest.h>

#include "libs/xml/keyreader.h"
#include "libs/xml/stringparser.h"
#include "libs/xml/xmlerrors.h"
#include "tests/support/systemlogcapture.h"
#include "tests/xml/picture.h"

namespace tessel::xml {
namespace {

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

TEST(XmlHostile, ParsesInLinearTime) {
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

TEST(XmlHostile, NestingIsLimited) {
    const nebrix::test::SystemLogCapture log;
    const auto nested = [](unsigned depth) { return repeated("<a>", std::size_t{3} * depth); };
    EXPECT_TRUE(picture(nested(Storage::kDeepestNesting)).starts_with("a(a("));
    EXPECT_FALSE(log.contains("ERROR"));
    EXPECT_EQ(picture(nested(Storage::kDeepestNesting + 1)), "EXmlElement:element:305");
    EXPECT_TRUE(log.contains("ERROR xml.Element.parse elements are nested too deeply"));
    EXPECT_EQ(picture(repeated("<a>")), "EXmlElement:element:305");
}

TEST(XmlHostile, ListsAreReadInLinearTime) {
    const auto root = StringParser::parse(owned("<r>" + repeated("<junk/>") + repeated("<i>1</i>") + "</r>"));
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
