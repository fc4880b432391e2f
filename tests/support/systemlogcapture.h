// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "libs/base/console.h"

namespace nebrix::test {

/// Takes the system log over while it lives (one at a time) and makes sure that there is a console. Lines from before
/// are not seen. Nothing reaches syslog(3) meanwhile. Any thread may call any operation.
class SystemLogCapture {
public:
    struct Line {
        tessel::LogCategory category;
        /// "[thread] LABEL Class.method text", as the system log gets it.
        std::string body;
    };

    SystemLogCapture();
    SystemLogCapture(const SystemLogCapture&) = delete;
    SystemLogCapture& operator=(const SystemLogCapture&) = delete;
    ~SystemLogCapture();

    /// What came so far, after everything that was logged before the call was written.
    [[nodiscard]] std::vector<Line> lines() const;
    /// The bodies that contain the text.
    [[nodiscard]] unsigned count(const std::string& text) const;
    [[nodiscard]] bool contains(const std::string& text) const { return count(text) != 0; }
    void clear() const;
};

}  // namespace nebrix::test
