// SPDX-License-Identifier: Apache-2.0
// Any bytes parse or are refused; every value is read through its reader and its accessors and written again.

#include <cstddef>
#include <cstdint>

#include "libs/json/jsonerrors.h"
#include "libs/json/jsonreader.h"

namespace {

using tessel::String;
using namespace tessel::json;

template <class T>
void readAs(tessel::IKeyReader& reader) {
    try {
        T value{};
        reader.read(value);
    } catch (const tessel::Exception&) {
        return;
    }
}

void readAll(const JSONWrapper& json, JSONReader& reader) {
    readAs<String>(reader);
    readAs<int>(reader);
    readAs<unsigned>(reader);
    readAs<bool>(reader);
    readAs<tessel::Memory>(reader);
    for (auto at = json.begin(), last = json.end(); !(at == last); ++at) {
        const String key = at.name();
        try {
            readAll(*at, reader[key]);
        } catch (const EJsonKeyReader&) {
            // A name with a NUL byte in it is not found by its text.
        }
        (void)reader.exists(key);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const String text(reinterpret_cast<const char*>(data), static_cast<unsigned>(size));
    try {
        const JSONWrapperFromString json(text);
        readAll(json, *json.getReader());
        (void)toString(json);
        (void)toLine(json);
    } catch (const EJsonError&) {
        return 0;
    }
    return 0;
}
