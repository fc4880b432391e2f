// SPDX-License-Identifier: Apache-2.0
#include <json/reader.h>
#include <json/value.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include "libs/base/log.h"
#include "libs/json/jsonerrors.h"
#include "libs/json/jsonwrapper.h"

namespace tessel::json {

namespace {

/// Texts up to this size are not examined before they are parsed.
constexpr std::size_t kSmallText = 8 * 1024;
/// The library looks at everything between a value and each comment behind it; beyond this many bytes in all it is
/// told to drop the comments.
constexpr std::size_t kMostCommentWork = std::size_t{64} * 1024 * 1024;

struct Shape {
    std::size_t values = 1;
    std::size_t comments = 0;
};

/// Behind the string whose quote stands at `from`; the text's end for one that does not end.
std::size_t behindString(std::string_view text, std::size_t from) {
    for (std::size_t at = text.find_first_of("\"\\", from + 1); at < text.size();
         at = text.find_first_of("\"\\", at + 2)) {
        if (text[at] == '"') {
            return at + 1;
        }
    }
    return text.size();
}

/// Behind the comment whose slash stands at `from`; behind the slash alone where it begins none.
std::size_t behindComment(std::string_view text, std::size_t from) {
    const char kind = from + 1 < text.size() ? text[from + 1] : '\0';
    if (kind == '*') {
        return std::min(text.find("*/", from + 2), text.size() - 2) + 2;
    }
    return kind == '/' ? std::min(text.find_first_of("\r\n", from + 2), text.size()) : from + 1;
}

/// An upper bound of what the library will make of the text, up to the first error in it. Strings and comments are
/// passed over exactly as the library does: whoever took a quote in a comment for a string's would miss the values
/// behind it.
Shape measure(std::string_view text) {
    Shape shape;
    for (std::size_t at = 0; at < text.size();) {
        const char c = text[at];
        // Behind a comment the library takes any token for the comma between two members.
        shape.values += c == ',' || c == '[' || c == '{' || c == '/' ? 1 : 0;
        shape.comments += c == '/' ? 1 : 0;
        at = c == '"' ? behindString(text, at) : c == '/' ? behindComment(text, at) : at + 1;
    }
    return shape;
}

bool parse(std::string_view text, Json::Value& value) {
    const Shape shape = text.size() > kSmallText ? measure(text) : Shape();
    if (shape.values > JSONWrapperFromString::kMostValues) {
        return false;
    }
    try {
// The classic reader is deprecated, but what it accepts is what this client's servers may rely on.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
        Json::Reader reader;
#pragma GCC diagnostic pop
        return reader.parse(text.data(), text.data() + text.size(), value,
                            shape.comments * text.size() <= kMostCommentWork);
    } catch (const Json::Exception&) {
        return false;
    }
}

std::unique_ptr<Json::Value> parsed(const String& text) {
    const std::string_view document(text.array(), strnlen(text.array(), text.length()));
    auto value = std::make_unique<Json::Value>();
    if (!parse(document, *value)) {
        log(LogCategory::Error, "JSONWrapperFromString", "", "unable to parse json !");
        raise<EJsonError>("EJsonError", sites::kNotJson);
    }
    return value;
}

}  // namespace

JSONWrapperFromString::JSONWrapperFromString(const String& text)
    : std::unique_ptr<Json::Value>(parsed(text)), JSONWrapper(std::unique_ptr<Json::Value>::operator*()) {}

JSONWrapperFromString::~JSONWrapperFromString() = default;

}  // namespace tessel::json
