// SPDX-License-Identifier: Apache-2.0
#include "libs/base/datetime.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

namespace tessel {
namespace {

#pragma GCC diagnostic push
// The format is the caller's, as the contract says.
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
String formatted(const char* format, const std::tm& parts) {
    std::array<char, 256> text{};
    const auto length = std::strftime(text.data(), text.size(), format, &parts);
    return String::copy(text.data(), static_cast<unsigned>(length));
}
#pragma GCC diagnostic pop

bool isWritten(std::string_view text) {
    constexpr std::string_view kForm = "0000-00-00T00:00:00+0000";  // "0" for any digit, "+" for either sign
    const auto fits = [](char c, char form) {
        return form == '0' ? c >= '0' && c <= '9' : c == form || (form == '+' && c == '-');
    };
    return std::equal(text.begin(), text.end(), kForm.begin(), kForm.end(), fits);
}

}  // namespace

std::optional<DateTime> DateTime::parse(const String& text) {
    const std::string terminated(text.view());
    std::tm parts{};
    const bool read = isWritten(terminated) && ::strptime(terminated.c_str(), "%Y-%m-%dT%H:%M:%S%z", &parts) != nullptr;
    if (!read) {
        return std::nullopt;
    }
    const std::time_t offset = parts.tm_gmtoff;  // which timegm(3) takes for 0
    return DateTime(::timegm(&parts) - offset);
}

String DateTime::toString() const { return toString("%Y-%m-%dT%H:%M:%S%z"); }

String DateTime::toString(const char* format) const {
    std::tm local{};
    return ::localtime_r(&m_seconds, &local) != nullptr ? formatted(format, local) : String();
}

String DateTime::toUtcString(const char* format) const {
    std::tm utc{};
    return ::gmtime_r(&m_seconds, &utc) != nullptr ? formatted(format, utc) : String();
}

}  // namespace tessel
