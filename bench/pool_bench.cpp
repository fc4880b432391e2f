// SPDX-License-Identifier: Apache-2.0
// Taking and giving back a block, beside the general heap. With two threads each works in a size class of its own, the
// two classes being neighbours.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <new>

#include "bench/runningthread.h"
#include "libs/base/memoryblockpool.h"

namespace {

unsigned sizeFor(const benchmark::State& state) {
    return static_cast<unsigned>(state.range(0) - 64 * state.thread_index());
}

void poolBlock(benchmark::State& state) {
    const unsigned size = sizeFor(state);
    for (auto _ : state) {
        tessel::MemoryBlock* block = tessel::memoryBlockPool.create(size);
        benchmark::DoNotOptimize(block->data());
        tessel::memoryBlockPool.destroy(block);
    }
}

void mallocBlock(benchmark::State& state) {
    const unsigned size = sizeFor(state);
    for (auto _ : state) {
        void* block = std::malloc(size);
        benchmark::DoNotOptimize(block);
        std::free(block);
    }
}

void newBlock(benchmark::State& state) {
    const unsigned size = sizeFor(state);
    for (auto _ : state) {
        void* block = ::operator new(size);
        benchmark::DoNotOptimize(block);
        ::operator delete(block);
    }
}

BENCHMARK(poolBlock)->Arg(64)->Arg(256)->Arg(1024)->Arg(2048)->Arg(4096)->Arg(8192);
BENCHMARK(newBlock)->Arg(64)->Arg(256)->Arg(1024);
BENCHMARK(mallocBlock)->Arg(2048)->Arg(4096)->Arg(8192);
BENCHMARK(poolBlock)->Arg(256)->Arg(4096)->Threads(2);
BENCHMARK(mallocBlock)->Arg(256)->Arg(4096)->Threads(2);

}  // namespace
