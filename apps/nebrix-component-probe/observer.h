// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <type_traits>

#include "apps/nebrix-component-probe/processstate.h"
#include "apps/nebrix-component-probe/report.h"

namespace tessel::probe {

/// Stands around each call of an entry: tells the report which one begins and which one is over, and looks before and
/// after whether the process is still as it was. One for the process; the entries are called one at a time, by
/// whichever thread.
class Observer {
public:
    /// From here on all entries (moduleloader.h) are observed.
    explicit Observer(Report& report);
    Observer(const Observer&) = delete;
    Observer& operator=(const Observer&) = delete;
    ~Observer();

    /// A call begins, and ends the one before it.
    void enter(const char* name);
    /// No entry runs any more.
    void leave();
    /// The last look.
    void finish() { look("after " + m_entry); }
    /// The calling thread is another one: what belongs to a thread counts anew.
    void begin() { m_before = ProcessState::now(); }
    /// Runs what calls entries, and leaves the last of them unless it throws.
    template <class Calls>
    auto around(Calls&& calls) {
        if constexpr (std::is_void_v<decltype(calls())>) {
            calls();
            leave();
        } else {
            auto result = calls();
            leave();
            return result;
        }
    }

private:
    static void entering(const char* name);
    void look(const std::string& when);

    Report& m_report;
    ProcessState m_before;
    std::string m_entry;  // the last one
    bool m_inside = false;
};

}  // namespace tessel::probe
