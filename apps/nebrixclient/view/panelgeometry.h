// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

/// Where the notification panel goes and how large it is, in the display's pixels. Any thread may call.
namespace tessel::view {

struct Size {
    int width = 0;
    int height = 0;
    friend bool operator==(const Size&, const Size&) = default;
};

struct Point {
    int x = 0;
    int y = 0;
    friend bool operator==(const Point&, const Point&) = default;
};

struct Rect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

/// The width for contents that want `best`: as it is up to the minimum, beyond it the next full hundred above it
/// (405 and 400 give 500), so that the panel does not change its width with every text.
int panelWidth(int best, int minimum) noexcept;

/// The size that the panel is to take, or nothing when it stays as it is. It is never larger than `most`, what the
/// work area has room for; apart from that, and unless it is the first time, neither side ever shrinks.
std::optional<Size> panelSize(Size current, Size best, Size most, int minimum, bool first) noexcept;

/// The top right corner of the work area, one pixel from its right edge.
Point panelPosition(const Rect& workArea, int width) noexcept;

}  // namespace tessel::view
