// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/plainname.h"

#include <algorithm>

#include "apps/nebrixclient/clientconfiguration.h"
#include "apps/nebrixclient/sites.h"
#include "libs/base/log.h"

namespace tessel {

namespace {

constexpr unsigned kLongestName = 255;

bool isForbidden(char c) noexcept {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7f || c == '/' || c == '\\' || c == '\'';
}

}  // namespace

bool isPlainName(const String& name) noexcept {
    return !name.empty() && name.length() <= kLongestName && !(name == ".") && name.find("..") == String::npos &&
           std::none_of(name.begin(), name.end(), isForbidden);
}

void requirePlainName(const char* key, const String& value, bool mayBeEmpty) {
    if (isPlainName(value) || (mayBeEmpty && value.empty())) {
        return;
    }
    log(LogCategory::Error, "DownloadManager", "checkNames",
        String(String("Refused configuration key \"") + key + "\": not a plain file name"));
    raise<EClientConfiguration>("EClientConfiguration", sites::kRefusedName,
                                {.subject = String::copy(key), .words = "a plain file name"});
}

}  // namespace tessel
