// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <deque>
#include <optional>

namespace tessel::view {

/// How far a download is and how fast it goes.
class TransferProgress {
public:
    /// So many bytes came until now; `total` is 0 while nobody knows. The clock may be any that counts milliseconds.
    /// Fewer bytes than before, or a clock set back, begin anew.
    void update(std::uint64_t received, std::uint64_t total, std::uint64_t nowMilliseconds);
    void reset();

    /// 0 to 1000; 0 while the total is unknown.
    [[nodiscard]] unsigned permille() const noexcept;
    /// The mean over the last three seconds or a little more; nothing until half a second is known.
    [[nodiscard]] std::optional<std::uint64_t> bytesPerSecond() const noexcept;

private:
    struct Sample {
        std::uint64_t milliseconds;
        std::uint64_t received;
    };

    std::uint64_t m_total = 0;
    // Ascending in both fields, not denser than kSpacing, all but the first within the window: some thirty at most.
    std::deque<Sample> m_samples;
    Sample m_last{0, 0};
};

/// A number of bytes as it is shown.
struct Amount {
    const char* key;       ///< translation key with one "%s": "UNIT_B %s", "UNIT_KB %s", "UNIT_MB %s" or "UNIT_GB %s"
    std::uint64_t tenths;  ///< of that unit, rounded; full ones for bytes
    bool whole;            ///< shown without its tenth: bytes. The others keep it, so that they do not jump
};

/// In the largest unit of which there is one at least; each is 1000 of the one before.
Amount amount(std::uint64_t bytes) noexcept;

}  // namespace tessel::view
