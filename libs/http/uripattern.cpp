// SPDX-License-Identifier: Apache-2.0
#include "libs/http/uripattern.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <memory>
#include <new>
#include <utility>

#include "libs/base/exception.h"
#include "libs/base/threadexit.h"
#include "libs/http/errors.h"
#include "libs/http/sites.h"

namespace tessel::http {
namespace {

constexpr char kPattern[] = R"(^(([^:/?#]+):)?(//([^/?#]*))?([^?#]*)(\?([^#]*))?(#(.*))?)";

/// pcre2_compile()'s code for "failed to allocate heap memory" (pcre2api), which the header has no name for.
constexpr int kCompilerLacksMemory = 121;

struct Pattern {
    pcre2_code* code = nullptr;
    bool compiled = false;  // to machine code; else the pattern is interpreted

    Pattern() {
        pcre2_compile_context* context = pcre2_compile_context_create(nullptr);
        if (context == nullptr) {
            throw std::bad_alloc();
        }
        // Said outright, since the default for what "." leaves out is chosen when PCRE2 is built.
        pcre2_set_newline(context, PCRE2_NEWLINE_LF);
        int error = 0;
        std::size_t position = 0;
        code = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(kPattern), sizeof kPattern - 1, PCRE2_ANCHORED, &error,
                             &position, context);
        pcre2_compile_context_free(context);
        if (code == nullptr) {
            if (error == kCompilerLacksMemory) {
                throw std::bad_alloc();
            }
            raise<UriComponentException>("UriComponentException", sites::kUriPattern);
        }
        compiled = pcre2_jit_compile(code, PCRE2_JIT_COMPLETE) == 0;
    }
};

const Pattern& pattern() {
    static const Pattern kept;
    return kept;
}

/// The scratch space of a thread's matches, made at its first one. The variables need no destruction, so that they can
/// be used until the very end of the thread.
thread_local constinit pcre2_match_data* t_spare = nullptr;
thread_local constinit bool t_ended = false;

void freeSpare() noexcept {
    pcre2_match_data_free(std::exchange(t_spare, nullptr));
    t_ended = true;
}

thread_local constinit ThreadExit t_exit{&freeSpare};

pcre2_match_data* newMatchData() {
    pcre2_match_data* data = pcre2_match_data_create_from_pattern(pattern().code, nullptr);
    if (data == nullptr) {
        throw std::bad_alloc();
    }
    return data;
}

UriGroups::Stretch stretch(const std::size_t* positions, unsigned group) {
    const std::size_t from = positions[2 * group];
    return from == PCRE2_UNSET
               ? UriGroups::Stretch{0, 0}
               : UriGroups::Stretch{static_cast<unsigned>(from), static_cast<unsigned>(positions[2 * group + 1])};
}

bool matchWith(pcre2_match_data* data, const String& text, UriGroups& groups) {
    const Pattern& uri = pattern();
    const auto match = uri.compiled ? pcre2_jit_match : pcre2_match;
    const int found = match(uri.code, reinterpret_cast<PCRE2_SPTR>(text.array()), text.length(), 0, 0, data, nullptr);
    if (found == PCRE2_ERROR_NOMEMORY) {
        throw std::bad_alloc();
    }
    const std::size_t* positions = pcre2_get_ovector_pointer(data);
    // Only a line feed in the fragment can end the match early, and no other match would then be longer.
    if (found < 1 || positions[1] != text.length()) {
        return false;
    }
    groups = {stretch(positions, 2), stretch(positions, 4), stretch(positions, 5), stretch(positions, 7),
              stretch(positions, 9)};
    return true;
}

}  // namespace

bool matchUri(const String& text, UriGroups& groups) {
    if (t_spare == nullptr) [[unlikely]] {
        if (t_ended) {
            const std::unique_ptr<pcre2_match_data, decltype(&pcre2_match_data_free)> data(newMatchData(),
                                                                                           pcre2_match_data_free);
            return matchWith(data.get(), text, groups);
        }
        t_spare = newMatchData();
        t_exit.arm();
    }
    return matchWith(t_spare, text, groups);
}

}  // namespace tessel::http
