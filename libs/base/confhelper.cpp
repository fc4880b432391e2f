// SPDX-License-Identifier: Apache-2.0
#include "libs/base/confhelper.h"

#include "libs/base/log.h"
#include "libs/base/runtimesites.h"

namespace tessel {

namespace {

[[noreturn]] void notImplemented() { raise<ENotImplemented>("ENotImplemented", sites::kConfNotSaved); }

}  // namespace

void IConf::read(IWriter&) const { notImplemented(); }
void IConf::read(IKeyWriter&) const { notImplemented(); }
void IConf::write(IReader&) { notImplemented(); }

bool ConfReadHelper::present(IKeyReader& reader, const char* key, bool required) {
    if (reader.exists(key)) {
        return true;
    }
    if (required) {
        log(LogCategory::Error, "ConfReadHelper", "readKey", String("Missing tag: <" + String::copy(key) + ">"));
        raise<EConfMissingKey>("EConfMissingKey", sites::kConfMissingKey, {.subject = String::copy(key)});
    }
    return false;
}

bool ConfReadHelper::readList(IKeyReader& reader, const char* key, const char* item, List<String>& out, bool required) {
    if (!present(reader, key, required)) {
        return false;
    }
    try {
        IKeyReader& list = reader[key];
        List<String> items;
        for (unsigned left = list.size(item); left > 0; --left) {
            String value;
            list[item].read(value);
            items.push_back(std::move(value));
        }
        out = std::move(items);
    } catch (Exception& caught) {
        caught.under(key);
        throw;
    }
    return true;
}

void throwMissingOptionalConf(const String& key) {
    log(LogCategory::Error, "ConfHelper", "OptionalConf", String("Using missing configuration: \"" + key + "\""));
    raise<EConfUsingMissingOptionalConf>("EConfUsingMissingOptionalConf", sites::kConfMissingOptional,
                                         {.subject = key});
}

}  // namespace tessel
