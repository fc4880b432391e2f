// SPDX-License-Identifier: Apache-2.0
// Base64 of 40 bytes, 256 bytes and 64 KiB into a string of the peer's own kind. OpenSSL's function only fills a
// buffer: it is measured with a string made for it, and into a buffer that stands ready.

#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <string>

#include "bench/runningthread.h"
#include "libs/base/base64.h"

#ifdef NEBRIX_HAVE_ABSL
#include <absl/strings/escaping.h>
#endif

namespace {

std::string sample(std::size_t length) {
    std::string bytes(length, '\0');
    unsigned value = 12345;
    for (char& byte : bytes) {
        value = value * 1103515245U + 12345U;
        byte = static_cast<char>(value >> 16U);
    }
    return bytes;
}

int evp(char* place, const std::string& bytes) {
    return EVP_EncodeBlock(reinterpret_cast<unsigned char*>(place),
                           reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
}

std::string evpString(const std::string& bytes) {
    std::string text(tessel::Base64::sizeEncode(static_cast<unsigned>(bytes.size())), '\0');
    evp(text.data(), bytes);
    return text;
}

void encodeTessel(benchmark::State& state) {
    const std::string bytes = sample(static_cast<std::size_t>(state.range(0)));
    const auto length = static_cast<unsigned>(bytes.size());
    if (tessel::Base64::encode(bytes.data(), length).view() != evpString(bytes)) {
        state.SkipWithError("the results differ");
    }
    for (auto _ : state) {
        tessel::String text = tessel::Base64::encode(bytes.data(), length);
        benchmark::DoNotOptimize(text);
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void encodeOpenSslString(benchmark::State& state) {
    const std::string bytes = sample(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        std::string text = evpString(bytes);
        benchmark::DoNotOptimize(text);
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void encodeOpenSslBuffer(benchmark::State& state) {
    const std::string bytes = sample(static_cast<std::size_t>(state.range(0)));
    std::string text = evpString(bytes);
    for (auto _ : state) {
        evp(text.data(), bytes);
        benchmark::DoNotOptimize(text.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

BENCHMARK(encodeTessel)->Arg(40)->Arg(256)->Arg(65536);
BENCHMARK(encodeOpenSslString)->Arg(40)->Arg(256)->Arg(65536);
BENCHMARK(encodeOpenSslBuffer)->Arg(40)->Arg(256)->Arg(65536);

#ifdef NEBRIX_HAVE_ABSL
void encodeAbsl(benchmark::State& state) {
    const std::string bytes = sample(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        std::string text = absl::Base64Escape(bytes);
        benchmark::DoNotOptimize(text);
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(encodeAbsl)->Arg(40)->Arg(256)->Arg(65536);
#endif

}  // namespace
