#include "libs/base/datetime.h"

#include <array>

namespace tessel {

String DateTime::toString() const { return toString("%Y-%m-%dT%H:%M:%S%z"); }

#pragma GCC diagnostic push
// The format is the caller's, as the contract says.
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
String DateTime::toString(const char* format) const {
    std::tm local{};
    std::array<char, 256> text{};
    if (::localtime_r(&m_seconds, &local) == nullptr) {
        return {};
    }
    const auto length = std::strftime(text.data(), text.size(), format, &local);
    return String::copy(text.data(), static_cast<unsigned>(length));
}
#pragma GCC diagnostic pop

}  // namespace tessel
