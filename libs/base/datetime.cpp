#include "libs/base/datetime.h"

#include <array>

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

}  // namespace

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
