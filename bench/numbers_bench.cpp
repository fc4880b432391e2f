// SPDX-License-Identifier: Apache-2.0
// Integers as text and text as integers, numbers of one to ten digits in turn.

#include <benchmark/benchmark.h>

#include <array>
#include <charconv>
#include <cstdio>
#include <string>

#include "bench/runningthread.h"
#include "libs/base/numbers.h"

namespace {

constexpr std::size_t kNumbers = 64;

std::array<int, kNumbers> sample() {
    std::array<int, kNumbers> numbers{};
    unsigned value = 12345;
    for (std::size_t i = 0; i < kNumbers; ++i) {
        value = value * 1103515245U + 12345U;
        numbers[i] = static_cast<int>(value >> (i % 31 + 1)) * (i % 2 == 0 ? 1 : -1);
    }
    return numbers;
}

std::array<std::string, kNumbers> sampleTexts() {
    const std::array<int, kNumbers> numbers = sample();
    std::array<std::string, kNumbers> texts;
    for (std::size_t i = 0; i < kNumbers; ++i) {
        texts[i] = std::to_string(numbers[i]);
    }
    return texts;
}

void intToString(benchmark::State& state) {
    const auto numbers = sample();
    const auto texts = sampleTexts();
    for (std::size_t i = 0; i < kNumbers; ++i) {
        if (tessel::toString(numbers[i]).view() != texts[i]) {
            state.SkipWithError("wrong text");
        }
    }
    std::size_t i = 0;
    for (auto _ : state) {
        tessel::String text = tessel::toString(numbers[i++ % kNumbers]);
        benchmark::DoNotOptimize(text);
    }
}

void intSnprintf(benchmark::State& state) {
    const auto numbers = sample();
    std::size_t i = 0;
    for (auto _ : state) {
        char text[12];
        std::snprintf(text, sizeof text, "%d", numbers[i++ % kNumbers]);
        benchmark::DoNotOptimize(text);
    }
}

void stringToInt(benchmark::State& state) {
    const auto numbers = sample();
    std::array<tessel::String, kNumbers> texts;
    for (std::size_t i = 0; i < kNumbers; ++i) {
        texts[i] = tessel::toString(numbers[i]);
        if (tessel::toInt32(texts[i]) != numbers[i]) {
            state.SkipWithError("wrong number");
        }
    }
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(tessel::toInt32(texts[i++ % kNumbers]));
    }
}

void stringFromChars(benchmark::State& state) {
    const auto texts = sampleTexts();
    std::size_t i = 0;
    for (auto _ : state) {
        const std::string& text = texts[i++ % kNumbers];
        int value = 0;
        std::from_chars(text.data(), text.data() + text.size(), value);
        benchmark::DoNotOptimize(value);
    }
}

BENCHMARK(intToString);
BENCHMARK(intSnprintf);
BENCHMARK(stringToInt);
BENCHMARK(stringFromChars);

}  // namespace
