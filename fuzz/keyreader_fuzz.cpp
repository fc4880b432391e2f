// SPDX-License-Identifier: Apache-2.0
// The bytes are read as a document by key, and saved and loaded as a value.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "libs/xml/escape.h"
#include "libs/xml/keyreader.h"
#include "libs/xml/stringparser.h"
#include "libs/xml/writerkeywriter.h"
#include "libs/xml/xmlerrors.h"

namespace {

using tessel::String;
using tessel::xml::KeyReader;

void readValues(KeyReader& reader) {
    String text;
    int number = 0;
    unsigned positive = 0;
    tessel::Memory bytes;
    reader.read(text);
    reader.read(number);
    reader.read(positive);
    reader.read(bytes);
    (void)reader.getAttribute("a");
    try {
        bool flag = false;
        reader.read(flag);
        reader.read(bytes, 3);
    } catch (const tessel::xml::EKeyReader&) {
        return;
    }
}

void readKeys(KeyReader& reader, unsigned depth) {
    readValues(reader);
    for (const char* key : {"domains", "a", "b"}) {
        const unsigned announced = reader.size(key);
        unsigned found = 0;
        while (reader.exists(key)) {
            KeyReader& child = reader[key];
            ++found;
            if (depth < 8) {
                readKeys(child, depth + 1);
            }
        }
        if (found != announced) {
            std::abort();
        }
    }
}

void saveAndLoad(const String& value) {
    String text;
    tessel::StringWriter sink(text);
    tessel::xml::WriterKeyWriter writer(sink);
    writer["root"]["value"].write(value);
    writer.close();
    const auto root = tessel::xml::StringParser::parse(text);
    KeyReader reader(*root);
    String loaded;
    reader["value"].read(loaded);
    if (!(loaded == value)) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const String text(reinterpret_cast<const char*>(data), static_cast<unsigned>(size));
    if (std::find(text.begin(), text.end(), '\0') == text.end()) {
        saveAndLoad(text);
    }
    try {
        const auto root = tessel::xml::StringParser::parse(text);
        KeyReader reader(*root);
        readKeys(reader, 0);
    } catch (const tessel::xml::XmlException&) {
        return 0;
    }
    return 0;
}
