// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "apps/nebrix-component-probe/rules.h"

namespace tessel::probe {

/// What a process has one of and a component is to leave alone, as it is at one moment: working directory, file mode
/// mask, locale, signal handlers, the calling thread's signal mask, environment, standard streams and what was written
/// to them. Making one costs some hundred system calls. Of the thread that calls the component.
class ProcessState {
public:
    static ProcessState now();

    /// Told once for each aspect that differs: its rule, and a sentence's end: `the working directory: "/a" became
    /// "/b"`. Of the environment only names are told.
    using Tell = std::function<void(Rule rule, const std::string& what)>;
    void compare(const ProcessState& before, const Tell& tell) const;

private:
    // One for each aspect, in the order of the table that reads them.
    std::vector<std::vector<std::string>> m_aspects;
};

/// Entries of a directory of /proc/self: "task" for threads, "fd" for open files.
std::size_t countOwn(const char* directory);

}  // namespace tessel::probe
