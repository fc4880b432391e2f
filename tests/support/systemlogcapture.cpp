// SPDX-License-Identifier: Apache-2.0
#include "tests/support/systemlogcapture.h"

#include <algorithm>
#include <mutex>

namespace nebrix::test {

namespace {

// The sink is a plain function, so what it collects is global. The list is never destroyed: the console's thread may
// write until the very end.
std::mutex g_mutex;
auto& g_lines = *new std::vector<SystemLogCapture::Line>;

void collect(tessel::LogCategory category, const tessel::String& body) {
    const std::lock_guard lock(g_mutex);
    g_lines.push_back({category, std::string(body.view())});
}

void flushConsole() {
    if (const auto console = tessel::Console::current(); console) {
        console->flush(5000);
    }
}

}  // namespace

SystemLogCapture::SystemLogCapture() {
    tessel::Console::start();
    flushConsole();
    clear();
    tessel::Console::setSystemLogSink(&collect);
}

SystemLogCapture::~SystemLogCapture() {
    flushConsole();
    tessel::Console::setSystemLogSink([](tessel::LogCategory, const tessel::String&) {});
}

std::vector<SystemLogCapture::Line> SystemLogCapture::lines() const {
    flushConsole();
    const std::lock_guard lock(g_mutex);
    return g_lines;
}

unsigned SystemLogCapture::count(const std::string& text) const {
    const std::vector<Line> all = lines();
    return static_cast<unsigned>(
        std::ranges::count_if(all, [&](const Line& line) { return line.body.find(text) != std::string::npos; }));
}

void SystemLogCapture::clear() const {
    const std::lock_guard lock(g_mutex);
    g_lines.clear();
}

}  // namespace nebrix::test
