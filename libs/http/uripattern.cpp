#include "libs/http/uripattern.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <algorithm>
#include <atomic>
#include <new>

#include "libs/base/exception.h"
#include "libs/http/errors.h"
#include "libs/http/sites.h"

namespace tessel::http {
namespace {

constexpr char kPattern[] = R"(^(([^:/?#]+):)?(//([^/?#]*))?([^?#]*)(\?([^#]*))?(#(.*))?)";

struct Pattern {
    pcre2_code* code = nullptr;
    bool compiled = false;  // to machine code; else the pattern is interpreted

    Pattern() {
        pcre2_compile_context* context = pcre2_compile_context_create(nullptr);
        // Said outright, since the default for what "." leaves out is chosen when PCRE2 is built.
        pcre2_set_newline(context, PCRE2_NEWLINE_LF);
        int error = 0;
        std::size_t position = 0;
        code = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(kPattern), sizeof kPattern - 1, PCRE2_ANCHORED, &error,
                             &position, context);
        pcre2_compile_context_free(context);
        if (code == nullptr) {
            raise<EUri>("EUri", sites::kUriPattern);
        }
        compiled = pcre2_jit_compile(code, PCRE2_JIT_COMPLETE) == 0;
    }
};

const Pattern& pattern() {
    static const Pattern kept;
    return kept;
}

/// The scratch space of one match. A single spare one is kept: whoever finds the slot empty makes a new one, and
/// whoever finds it taken on the way back frees the one displaced.
class MatchData {
public:
    explicit MatchData(const Pattern& pattern) : m_data(s_spare.exchange(nullptr, std::memory_order_acquire)) {
        if (m_data == nullptr) {
            m_data = pcre2_match_data_create_from_pattern(pattern.code, nullptr);
        }
        if (m_data == nullptr) {
            throw std::bad_alloc();
        }
    }
    MatchData(const MatchData&) = delete;
    MatchData& operator=(const MatchData&) = delete;
    ~MatchData() { pcre2_match_data_free(s_spare.exchange(m_data, std::memory_order_acq_rel)); }

    [[nodiscard]] pcre2_match_data* get() const noexcept { return m_data; }

private:
    static constinit std::atomic<pcre2_match_data*> s_spare;

    pcre2_match_data* m_data;
};

constinit std::atomic<pcre2_match_data*> MatchData::s_spare{nullptr};

}  // namespace

bool matchUri(const String& text, UriGroups& groups) {
    const Pattern& uri = pattern();
    const MatchData data(uri);
    const auto* subject = reinterpret_cast<PCRE2_SPTR>(text.array());
    const auto match = uri.compiled ? pcre2_jit_match : pcre2_match;
    const int found = match(uri.code, subject, text.length(), 0, 0, data.get(), nullptr);
    const std::size_t* positions = pcre2_get_ovector_pointer(data.get());
    // Only a line feed in the fragment can end the match early, and no other match would then be longer.
    if (found < 1 || positions[1] != text.length()) {
        return false;
    }
    // PCRE2 itself sets the groups behind the last one that took part.
    std::copy_n(positions, groups.size(), groups.begin());
    return true;
}

}  // namespace tessel::http
