// SPDX-License-Identifier: Apache-2.0
#include "libs/base/log.h"

#include <atomic>

#include "libs/base/console.h"
#include "libs/base/numbers.h"

namespace tessel {

namespace {

std::atomic<LogDivert> g_divert{nullptr};

}  // namespace

void divertLog(LogDivert divert) noexcept { g_divert = divert; }

void log(LogCategory category, const String& className, const String& method, const String& text) noexcept {
    if (Console* const console = Console::instance()) {
        console->log(category, className, method, text);
    } else if (const LogDivert divert = g_divert) {
        try {
            divert(category, className, method, text);
        } catch (...) {
            // The line is what can be spared.
        }
    }
}

void log(LogCategory category, const String& className, const String& method, const char* text) noexcept {
    try {
        log(category, className, method, String::copy(text));
    } catch (...) {
        // Memory has ended, as above.
    }
}

void log(LogCategory category, const char* className, const String& method, const String& text) noexcept {
    log(category, String(className), method, text);
}

void log(LogCategory category, const char* className, const String& method, const char* text) noexcept {
    log(category, String(className), method, text);
}

void log(LogCategory category, const String& className, const String& method, const String& text, int number) noexcept {
    try {
        log(category, className, method, String(text + toString(number)));
    } catch (...) {
        // As above.
    }
}

}  // namespace tessel
