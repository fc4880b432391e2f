// SPDX-License-Identifier: Apache-2.0
// URI splitting beside PCRE2 and std::regex, percent-encoding beside libcurl.

#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include <map>
#include <regex>
#include <string>

#include "libs/http/uri.h"

#ifdef NEBRIX_HAVE_PCRE2
#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>
#endif

namespace {

using tessel::String;
using tessel::http::Uri;

constexpr char kPattern[] = R"(^(([^:/?#]+):)?(//([^/?#]*))?([^?#]*)(\?([^#]*))?(#(.*))?)";
constexpr char kText[] =
    "https://4f9c2e6a77d1@gateway.example.org:8443/mediation/client?lang=en&org=acme&session=8d7f6a5b4c#top";
constexpr char kRebuilt[] =
    "https://4f9c2e6a77d1@gateway.example.org:8443/mediation/client?lang=en&org=acme&session=8d7f6a5b4c"
    "&clientversion=8.9.0.35#top";

const String& input() {
    static const String text = String::copy(kText);
    return text;
}

void splitUri(benchmark::State& state) {
    if (Uri::parse(input()).getPath() != "/mediation/client") {
        state.SkipWithError("wrong path");
    }
    for (auto _ : state) {
        Uri uri = Uri::parse(input());
        benchmark::DoNotOptimize(uri);
    }
}
BENCHMARK(splitUri)->Name("split/tessel");

#ifdef NEBRIX_HAVE_PCRE2
void splitPcre2(benchmark::State& state) {
    int error = 0;
    std::size_t position = 0;
    pcre2_code* code =
        pcre2_compile(reinterpret_cast<PCRE2_SPTR>(kPattern), sizeof kPattern - 1, 0, &error, &position, nullptr);
    pcre2_jit_compile(code, PCRE2_JIT_COMPLETE);
    pcre2_match_data* data = pcre2_match_data_create_from_pattern(code, nullptr);
    const auto* subject = reinterpret_cast<PCRE2_SPTR>(kText);
    for (auto _ : state) {
        const int groups = pcre2_match(code, subject, sizeof kText - 1, 0, 0, data, nullptr);
        benchmark::DoNotOptimize(pcre2_get_ovector_pointer(data));
        if (groups != 10) {
            state.SkipWithError("no match");
        }
    }
    pcre2_match_data_free(data);
    pcre2_code_free(code);
}
BENCHMARK(splitPcre2)->Name("split/pcre2-jit");
#endif

void rebuildUri(benchmark::State& state) {
    for (auto _ : state) {
        Uri uri = Uri::parse(input());
        uri.setParameter("clientversion", "8.9.0.35");
        const String full = uri.getFullUri();
        if (!full.equals(kRebuilt, sizeof kRebuilt - 1)) {
            state.SkipWithError("wrong text");
        }
    }
}
BENCHMARK(rebuildUri)->Name("split-set-rebuild/tessel");

std::string rebuildWithRegex(const std::regex& pattern, const std::string& text) {
    std::smatch match;
    if (!std::regex_match(text, match, pattern)) {
        return {};
    }
    std::vector<std::string> names;
    std::map<std::string, std::string> values;
    const auto set = [&](const std::string& name, const std::string& value) {
        if (values.insert_or_assign(name, value).second) {
            names.push_back(name);
        }
    };
    const std::string query = match[7];
    for (std::size_t from = 0; from <= query.size();) {
        const std::size_t to = std::min(query.find('&', from), query.size());
        const std::string piece = query.substr(from, to - from);
        const std::size_t equals = piece.find('=');
        set(piece.substr(0, equals), equals != std::string::npos ? piece.substr(equals + 1) : std::string());
        from = to + 1;
    }
    set("clientversion", "8.9.0.35");
    std::string full = match[2].str() + "://" + match[4].str() + match[5].str();
    char separator = '?';
    for (const std::string& name : names) {
        full += separator + name + "=" + values[name];
        separator = '&';
    }
    return full + "#" + match[9].str();
}

void rebuildRegex(benchmark::State& state) {
    const std::regex pattern(kPattern, std::regex::optimize);
    const std::string text = kText;
    for (auto _ : state) {
        if (rebuildWithRegex(pattern, text) != kRebuilt) {
            state.SkipWithError("wrong text");
        }
    }
}
BENCHMARK(rebuildRegex)->Name("split-set-rebuild/std-regex");

/// 1 KiB of which a quarter has to be escaped.
std::string kilobyte() {
    std::string text;
    while (text.size() < 1024) {
        text += "abcdef gh/i=jkl&";
    }
    return text;
}

void encodeUri(benchmark::State& state) {
    const String text = String::copy(kilobyte());
    for (auto _ : state) {
        String encoded = Uri::encode(text);
        benchmark::DoNotOptimize(encoded);
    }
}
BENCHMARK(encodeUri)->Name("encode-1KiB/tessel");

void encodeCurl(benchmark::State& state) {
    CURL* handle = curl_easy_init();
    const std::string text = kilobyte();
    char* once = curl_easy_escape(handle, text.data(), static_cast<int>(text.size()));
    if (Uri::encode(String::copy(text)) != once) {
        state.SkipWithError("the two differ");
    }
    curl_free(once);
    for (auto _ : state) {
        char* encoded = curl_easy_escape(handle, text.data(), static_cast<int>(text.size()));
        benchmark::DoNotOptimize(encoded);
        curl_free(encoded);
    }
    curl_easy_cleanup(handle);
}
BENCHMARK(encodeCurl)->Name("encode-1KiB/curl_easy_escape");

}  // namespace
