// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/nebrix-component-probe/report.h"

namespace tessel::probe {

/// The download callback that components get here: looks at what it is asked, and reaches no network.
///
/// Components may call from any thread to the end of the process, so what it uses is never destroyed.
class Downloads {
public:
    enum class Answer {
        Delivered,  // a small file is written, as long as it lies in the plug-in's directory
        Failed,
        // A thread of the component waits until release(); the thread that calls the entries is told at once that it
        // failed.
        Held,
    };
    /// Once, before a component is loaded. Files are written below the directory alone.
    static void use(Report& report, const String& directory);
    /// By the thread that calls the entries.
    static void answer(Answer answer);
    /// What is held is told that it failed.
    static void release();
    static bool downloadFileTo(const char* url, const char* localPath) noexcept;
};

}  // namespace tessel::probe
