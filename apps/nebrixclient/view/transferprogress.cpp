// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/view/transferprogress.h"

#include <array>
#include <limits>

namespace tessel::view {

namespace {

constexpr std::uint64_t kWindow = 3000;   // milliseconds
constexpr std::uint64_t kSpacing = 100;   // between two samples
constexpr std::uint64_t kShortest = 500;  // that a rate can be told from
constexpr std::uint64_t kThousand = 1000;

std::uint64_t perSecond(std::uint64_t bytes, std::uint64_t milliseconds) {
    return bytes < std::numeric_limits<std::uint64_t>::max() / kThousand ? bytes * kThousand / milliseconds
                                                                         : bytes / milliseconds * kThousand;
}

}  // namespace

void TransferProgress::update(std::uint64_t received, std::uint64_t total, std::uint64_t nowMilliseconds) {
    if (!m_samples.empty() && (nowMilliseconds < m_last.milliseconds || received < m_last.received)) {
        m_samples.clear();
    }
    m_total = total;
    m_last = {nowMilliseconds, received};
    if (m_samples.empty() || nowMilliseconds - m_samples.back().milliseconds >= kSpacing) {
        m_samples.push_back(m_last);
    }
    while (m_samples.size() > 1 && nowMilliseconds - m_samples[1].milliseconds >= kWindow) {
        m_samples.pop_front();
    }
}

void TransferProgress::reset() { *this = TransferProgress(); }

unsigned TransferProgress::permille() const noexcept {
    if (m_total == 0) {
        return 0;
    }
    if (m_last.received >= m_total) {
        return kThousand;
    }
    // What is too large to be multiplied is large enough to be divided first.
    const std::uint64_t permille = m_total < std::numeric_limits<std::uint64_t>::max() / kThousand
                                       ? m_last.received * kThousand / m_total
                                       : m_last.received / (m_total / kThousand);
    return static_cast<unsigned>(permille);
}

std::optional<std::uint64_t> TransferProgress::bytesPerSecond() const noexcept {
    if (m_samples.empty()) {
        return std::nullopt;
    }
    const Sample& first = m_samples.front();
    const std::uint64_t milliseconds = m_last.milliseconds - first.milliseconds;
    return milliseconds < kShortest ? std::nullopt
                                    : std::optional(perSecond(m_last.received - first.received, milliseconds));
}

Amount amount(std::uint64_t bytes) noexcept {
    struct Unit {
        const char* key;
        std::uint64_t tenth;  // in bytes
    };
    constexpr std::array kUnits{Unit{"UNIT_KB %s", 100}, Unit{"UNIT_MB %s", 100'000}, Unit{"UNIT_GB %s", 100'000'000}};
    constexpr std::uint64_t kFull = 10'000;  // tenths that make one of the next unit
    if (bytes < kThousand) {
        return {"UNIT_B %s", bytes * 10, true};
    }
    Amount shown{};
    for (const Unit& unit : kUnits) {
        // Rounded before the unit is chosen, so that 999 960 bytes are 1 MB and not 1000 kB.
        shown = {unit.key, bytes / unit.tenth + (bytes % unit.tenth >= unit.tenth / 2 ? 1 : 0), false};
        if (shown.tenths < kFull) {
            break;
        }
    }
    return shown;
}

}  // namespace tessel::view
