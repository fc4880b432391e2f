// SPDX-License-Identifier: Apache-2.0
// Copies and substrings, beside the shared string and the plain string of the standard library.

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <string_view>

#include "bench/runningthread.h"
#include "libs/base/string.h"

namespace {

std::string sample(std::size_t length) { return std::string(length, 'x'); }

void copyString(benchmark::State& state) {
    const tessel::String text = tessel::String::copy(sample(static_cast<std::size_t>(state.range(0))));
    for (auto _ : state) {
        tessel::String copy = text;
        benchmark::DoNotOptimize(copy);
    }
}

void copySharedPtr(benchmark::State& state) {
    const auto text = std::make_shared<std::string>(sample(static_cast<std::size_t>(state.range(0))));
    for (auto _ : state) {
        std::shared_ptr<std::string> copy = text;
        benchmark::DoNotOptimize(copy);
    }
}

void copyStdString(benchmark::State& state) {
    const std::string text = sample(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        std::string copy = text;
        benchmark::DoNotOptimize(copy);
    }
}

/// What one would write for a substring without copying: the owner and the view together.
struct SharedView {
    std::shared_ptr<std::string> owner;
    std::string_view view;
};

void substringString(benchmark::State& state) {
    const tessel::String text = tessel::String::copy(sample(4096));
    if (text.range(1000, 2024).view() != text.view().substr(1000, 1024)) {
        state.SkipWithError("wrong substring");
    }
    for (auto _ : state) {
        tessel::String part = text.range(1000, 2024);
        benchmark::DoNotOptimize(part);
    }
}

void substringSharedPtr(benchmark::State& state) {
    const auto text = std::make_shared<std::string>(sample(4096));
    for (auto _ : state) {
        SharedView part{text, std::string_view(*text).substr(1000, 1024)};
        benchmark::DoNotOptimize(part);
    }
}

BENCHMARK(copyString)->Arg(40)->Arg(4096);
BENCHMARK(copySharedPtr)->Arg(40)->Arg(4096);
BENCHMARK(copyStdString)->Arg(40)->Arg(4096);
BENCHMARK(substringString);
BENCHMARK(substringSharedPtr);

}  // namespace
