// SPDX-License-Identifier: Apache-2.0
#include "libs/xml/escape.h"

#include <charconv>

namespace tessel::xml {

namespace {

constexpr std::size_t kLongestReference = 16;

struct Entity {
    std::string_view name;
    char byte;
};

constexpr Entity kEntities[] = {{"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"quot", '"'}, {"apos", '\''}};

bool isControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }

bool mustEscape(std::string_view value, std::size_t at) {
    const char c = value[at];
    return c == '&' || c == '<' || c == '>' || isControl(c) || (c == ' ' && (at == 0 || at + 1 == value.size()));
}

void addReference(String& out, char c) {
    for (const Entity& entity : kEntities) {
        if (entity.byte == c) {
            out.append("&").append(entity.name).append(";");
            return;
        }
    }
    char digits[8];
    const auto end = std::to_chars(digits, digits + sizeof digits, static_cast<unsigned char>(c)).ptr;
    out.append("&#").append(digits, static_cast<unsigned>(end - digits)).append(";");
}

void addUtf8(String& out, unsigned code) {
    const auto tail = [code](unsigned shift) { return static_cast<char>(0x80 | ((code >> shift) & 0x3f)); };
    if (code < 0x80) {
        out.append(1, static_cast<char>(code));
    } else if (code < 0x800) {
        const char bytes[] = {static_cast<char>(0xc0 | (code >> 6)), tail(0)};
        out.append(bytes, sizeof bytes);
    } else if (code < 0x10000) {
        const char bytes[] = {static_cast<char>(0xe0 | (code >> 12)), tail(6), tail(0)};
        out.append(bytes, sizeof bytes);
    } else {
        const char bytes[] = {static_cast<char>(0xf0 | (code >> 18)), tail(12), tail(6), tail(0)};
        out.append(bytes, sizeof bytes);
    }
}

/// Appends what "&" name ";" stands for; false when it is none that is known.
bool addEntity(String& out, std::string_view name) {
    for (const Entity& entity : kEntities) {
        if (entity.name == name) {
            out.append(1, entity.byte);
            return true;
        }
    }
    if (name.size() < 2 || name[0] != '#') {
        return false;
    }
    const bool hexadecimal = name[1] == 'x';
    const std::string_view digits = name.substr(hexadecimal ? 2 : 1);
    unsigned code = 0;
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), code, hexadecimal ? 16 : 10);
    const bool surrogate = code >= 0xd800 && code <= 0xdfff;
    if (error != std::errc() || end != digits.data() + digits.size() || code == 0 || code > 0x10ffff || surrogate) {
        return false;
    }
    addUtf8(out, code);
    return true;
}

}  // namespace

String escape(const String& value) {
    const std::string_view bytes = value.view();
    std::size_t done = 0;
    String out;
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        if (mustEscape(bytes, at)) {
            out.append(bytes.data() + done, static_cast<unsigned>(at - done));
            addReference(out, bytes[at]);
            done = at + 1;
        }
    }
    return done == 0 ? value : out.append(bytes.data() + done, static_cast<unsigned>(bytes.size() - done));
}

String unescape(const String& text) {
    const std::string_view bytes = text.view();
    std::size_t done = 0;
    String out;
    for (std::size_t at = bytes.find('&'); at != std::string_view::npos; at = bytes.find('&', at)) {
        const std::size_t length = bytes.substr(at, kLongestReference).find(';');
        out.append(bytes.data() + done, static_cast<unsigned>(at - done));
        done = at;
        if (length != std::string_view::npos && addEntity(out, bytes.substr(at + 1, length - 1))) {
            done = at + length + 1;
        }
        at = std::max(done, at + 1);
    }
    return done == 0 && out.empty() ? text
                                    : out.append(bytes.data() + done, static_cast<unsigned>(bytes.size() - done));
}

}  // namespace tessel::xml
