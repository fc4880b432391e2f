// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <exception>
#include <utility>

#include "libs/base/raisesite.h"
#include "libs/base/string.h"

namespace tessel {

/// What an error is about, as facts for whoever tells a person. They stand beside an exception's text forms, which
/// administrators know and which never show them.
struct ErrorFacts {
    /// The path of a file, or the key of a document with those around it: "result.login".
    String subject{};
    /// What failed in words of the place that knows: what the system said, or what was expected there.
    String words{};
    /// errno as it was; 0 when the system did not say.
    int systemError = 0;
    /// A number of the raising module's own, 0 for none.
    int cause = 0;
};

/// A C string that is made when it is first asked for, by any of the threads that share its owner, and kept. A copy
/// starts without one.
class LateText {
public:
    LateText() noexcept = default;
    LateText(const LateText&) noexcept : LateText() {}
    LateText& operator=(const LateText&) noexcept {
        clear();
        return *this;
    }
    ~LateText() { clear(); }

    /// Null as long as nothing was kept.
    [[nodiscard]] const char* get() const noexcept { return m_text.load(std::memory_order_acquire); }
    /// Keeps a copy, unless another thread was quicker; gives what is kept. Raises std::bad_alloc.
    const char* keep(const String& text) const;
    /// No other thread may use what get() gave.
    void clear() noexcept { delete[] m_text.exchange(nullptr, std::memory_order_relaxed); }

private:
    mutable std::atomic<const char*> m_text{nullptr};
};

/// Root of all errors: thrown by value, caught by reference, also as a std::exception.
///
/// Carries what failed (message), where it was raised (base name of the source file, line) and a code, 0 when none
/// was given. The texts may be a caller's views of static bytes; copies are cheap, and raise nothing. Threads may share
/// an exception (std::exception_ptr) that none of them changes.
class Exception : public std::exception {
public:
    Exception(const String& message, const String& file, int line);
    Exception(int code, const String& message, const String& file, int line);
    Exception(const Exception&) = default;
    Exception& operator=(const Exception&) = default;
    ~Exception() override;

    [[nodiscard]] const String& getMessage() const noexcept { return m_message; }
    [[nodiscard]] const String& getFile() const noexcept { return m_file; }
    [[nodiscard]] int getLine() const noexcept { return m_line; }
    [[nodiscard]] int getErrorCode() const noexcept { return m_code; }
    [[nodiscard]] const ErrorFacts& facts() const noexcept { return m_facts; }
    void setFacts(ErrorFacts facts) noexcept {
        m_facts = std::move(facts);
        m_what.clear();
    }
    /// Says under which key the subject lies, while the exception passes the reader of that key. Raises nothing.
    void under(const char* key) noexcept;

    /// "message:file:line", followed by "(code)" when the code is not 0.
    [[nodiscard]] String toString() const;
    /// toString(), then " -> file:line" of the handler that caught it (the file cut to its base name).
    [[nodiscard]] String trace(const String& file, int line) const;

    /// toString() and the facts that are known, for who knows no more than std::exception:
    /// "EFile:file:118: /etc/shadow: Permission denied". Stands until the facts change or the exception ends. Without
    /// memory for it, "tessel::Exception".
    [[nodiscard]] const char* what() const noexcept override;

    /// The part after the last "/", else after the last "\", else the whole text.
    static String baseName(const String& path);

private:
    String m_message;
    String m_file;
    int m_line;
    int m_code;
    ErrorFacts m_facts;
    LateText m_what;
};

/// Raises E with a message of its own class name's kind at one of a module's fixed sites.
template <class E>
[[noreturn]] void raise(const String& message, RaiseSite site) {
    throw E(message, String(site.file), site.line);
}
template <class E>
[[noreturn]] void raise(const String& message, RaiseSite site, ErrorFacts facts) {
    throw [&] {
        E error(message, String(site.file), site.line);
        error.setFacts(std::move(facts));
        return error;
    }();
}

/// Logs a caught exception in the way common to all handlers: TRACE, "Exception", "catch", the trace with the
/// handler's own site. Never raises.
void logCaught(const Exception& caught, RaiseSite handler) noexcept;

}  // namespace tessel

/// Declares an exception class with the two constructors of the family and nothing else. Of Base, any name will do.
#define TESSEL_EXCEPTION(Name, Base) \
    class Name : public Base {       \
        using Inherited = Base;      \
                                     \
    public:                          \
        using Inherited::Inherited;  \
    }
