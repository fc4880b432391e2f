// SPDX-License-Identifier: Apache-2.0
// Joining 4, 8, 16 and 32 pieces of about 16 bytes into one string; every second piece is a literal.

#include <benchmark/benchmark.h>

#include <string>

#include "bench/runningthread.h"
#include "libs/base/string.h"

#ifdef NEBRIX_HAVE_ABSL
#include <absl/strings/str_cat.h>
#endif

namespace {

// One text for all peers: four pieces, two of them counted strings or std::strings.
#define JOIN4(a, b) a + " is the literal " + b + "another literal;"
#define JOIN8(a, b) JOIN4(a, b) + JOIN4(a, b)
#define JOIN16(a, b) JOIN4(a, b) + JOIN4(a, b) + JOIN4(a, b) + JOIN4(a, b)
#define JOIN32(a, b) JOIN16(a, b) + JOIN16(a, b)

#define PIECES4(a, b) a, " is the literal ", b, "another literal;"
#define PIECES8(a, b) PIECES4(a, b), PIECES4(a, b)
#define PIECES16(a, b) PIECES8(a, b), PIECES8(a, b)
#define PIECES32(a, b) PIECES16(a, b), PIECES16(a, b)

constexpr char kFirst[] = "first of strings";
constexpr char kSecond[] = "second of them..";

std::string expected(int pieces) {
    std::string text;
    for (int i = 0; i < pieces; i += 4) {
        text.append(kFirst).append(" is the literal ").append(kSecond).append("another literal;");
    }
    return text;
}

template <class Text, class Join>
void join(benchmark::State& state, int pieces, Join joined) {
    if (const Text result = joined(); std::string(result.begin(), result.end()) != expected(pieces)) {
        state.SkipWithError("wrong text");
    }
    for (auto _ : state) {
        Text result = joined();
        benchmark::DoNotOptimize(result);
    }
}

void joinString(benchmark::State& state) {
    const tessel::String a = tessel::String::copy(kFirst);
    const tessel::String b = tessel::String::copy(kSecond);
    using Text = tessel::String;
    switch (state.range(0)) {
        case 4:
            return join<Text>(state, 4, [&]() -> Text { return JOIN4(a, b); });
        case 8:
            return join<Text>(state, 8, [&]() -> Text { return JOIN8(a, b); });
        case 16:
            return join<Text>(state, 16, [&]() -> Text { return JOIN16(a, b); });
        default:
            return join<Text>(state, 32, [&]() -> Text { return JOIN32(a, b); });
    }
}

void joinStdString(benchmark::State& state) {
    const std::string a = kFirst;
    const std::string b = kSecond;
    using Text = std::string;
    switch (state.range(0)) {
        case 4:
            return join<Text>(state, 4, [&]() -> Text { return JOIN4(a, b); });
        case 8:
            return join<Text>(state, 8, [&]() -> Text { return JOIN8(a, b); });
        case 16:
            return join<Text>(state, 16, [&]() -> Text { return JOIN16(a, b); });
        default:
            return join<Text>(state, 32, [&]() -> Text { return JOIN32(a, b); });
    }
}

BENCHMARK(joinString)->Arg(4)->Arg(8)->Arg(16)->Arg(32);
BENCHMARK(joinStdString)->Arg(4)->Arg(8)->Arg(16)->Arg(32);

#ifdef NEBRIX_HAVE_ABSL
void joinStrCat(benchmark::State& state) {
    const std::string a = kFirst;
    const std::string b = kSecond;
    using Text = std::string;
    switch (state.range(0)) {
        case 4:
            return join<Text>(state, 4, [&] { return absl::StrCat(PIECES4(a, b)); });
        case 8:
            return join<Text>(state, 8, [&] { return absl::StrCat(PIECES8(a, b)); });
        case 16:
            return join<Text>(state, 16, [&] { return absl::StrCat(PIECES16(a, b)); });
        default:
            return join<Text>(state, 32, [&] { return absl::StrCat(PIECES32(a, b)); });
    }
}
BENCHMARK(joinStrCat)->Arg(4)->Arg(8)->Arg(16)->Arg(32);
#endif

}  // namespace
