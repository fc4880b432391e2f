// SPDX-License-Identifier: Apache-2.0
// Copying and dropping a counted pointer, beside boost::intrusive_ptr with its thread-safe counter.
#include <benchmark/benchmark.h>

#include "libs/base/gcobject.h"

#ifdef NEBRIX_HAVE_BOOST
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>
#endif

namespace {

class Counted final : public tessel::gc::ObjectDelete {};

void copyPointer(benchmark::State& state) {
    static const tessel::gc::Pointer<Counted> shared(new Counted);
    for (auto _ : state) {
        tessel::gc::Pointer<Counted> copy(shared);
        benchmark::DoNotOptimize(copy);
    }
    if (state.thread_index() == 0 && shared.uget()->gcRef() < 1) {
        state.SkipWithError("the count is wrong");
    }
}
BENCHMARK(copyPointer)->Threads(1)->Threads(2)->UseRealTime();

#ifdef NEBRIX_HAVE_BOOST
class BoostCounted final : public boost::intrusive_ref_counter<BoostCounted, boost::thread_safe_counter> {
public:
    virtual ~BoostCounted() = default;
};

void copyBoostPointer(benchmark::State& state) {
    static const boost::intrusive_ptr<BoostCounted> shared(new BoostCounted);
    for (auto _ : state) {
        boost::intrusive_ptr<BoostCounted> copy(shared);
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(copyBoostPointer)->Threads(1)->Threads(2)->UseRealTime();
#endif

}  // namespace
