// SPDX-License-Identifier: Apache-2.0
// The logger beside spdlog's asynchronous one: what a call costs its caller in bursts, and how long a line takes to
// the file. Both write every line through; the system log is off. Every line must arrive, or the run is an error.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "libs/base/console.h"
#include "libs/base/numbers.h"

#ifdef NEBRIX_HAVE_SPDLOG
#include <spdlog/async.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#endif

namespace {

using tessel::Console;
using tessel::LogCategory;
using tessel::String;
using Clock = std::chrono::steady_clock;

constexpr unsigned kBurst = 2000;
constexpr unsigned kThroughputLines = 50'000;

std::string filePath(const char* name) {
    return "/tmp/nebrix-log-bench-" + std::to_string(::getpid()) + "-" + name + ".log";
}

std::size_t linesIn(const std::string& path) {
    std::ifstream file(path);
    return static_cast<std::size_t>(
        std::count(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>(), '\n'));
}

/// Our logger, writing to a file of its own.
class Ours {
public:
    Ours() {
        Console::start();
        Console::setSystemLogSink([](LogCategory, const String&) {});
        Console::instance()->setStream(LogCategory::Trace, String::copy(m_path));
    }
    ~Ours() {
        Console::instance()->setStream(LogCategory::Trace, "null");
        ::unlink(m_path.c_str());
    }
    void line(const String& text) const { tessel::log(LogCategory::Trace, "Bench", "burst", text); }
    void wait() const { Console::instance()->flush(60'000); }
    [[nodiscard]] const std::string& path() const { return m_path; }
    using Text = String;
    static Text text() { return String::copy("a line of ordinary length, such as progress"); }

private:
    std::string m_path = filePath("ours");
};

#ifdef NEBRIX_HAVE_SPDLOG
/// spdlog with one thread, blocking when its queue of 8192 is full, every line flushed.
class Peer {
public:
    Peer() {
        spdlog::init_thread_pool(8192, 1);
        m_logger = spdlog::basic_logger_mt<spdlog::async_factory>("bench", m_path, true);
        m_logger->set_level(spdlog::level::trace);
        m_logger->flush_on(spdlog::level::trace);
        m_logger->set_pattern("%d-%m-%y %H:%M:%S.%e [%t] TRACE Bench.burst %v");
    }
    ~Peer() {
        m_logger.reset();
        spdlog::shutdown();
        ::unlink(m_path.c_str());
    }
    void line(const std::string& text) { m_logger->trace(text); }
    /// Until the queue is empty; the line in work then is a matter of microseconds.
    void wait() const {
        while (spdlog::thread_pool()->queue_size() != 0) {
            std::this_thread::sleep_for(std::chrono::microseconds(50));
        }
        std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
    [[nodiscard]] const std::string& path() const { return m_path; }
    using Text = std::string;
    static Text text() { return "a line of ordinary length, such as progress"; }

private:
    std::string m_path = filePath("peer");
    std::shared_ptr<spdlog::logger> m_logger;
};
#endif

/// Runs the work on so many threads at once.
template <class Work>
void onThreads(unsigned producers, const Work& work) {
    std::vector<std::thread> threads;
    for (unsigned i = 1; i < producers; ++i) {
        threads.emplace_back(work, i);
    }
    work(0);
    for (std::thread& thread : threads) {
        thread.join();
    }
}

template <class Logger>
void burst(benchmark::State& state) {
    const auto producers = static_cast<unsigned>(state.range(0));
    Logger logger;
    std::vector<std::vector<double>> took(producers);
    std::size_t logged = 0;
    for (auto _ : state) {
        onThreads(producers, [&](unsigned index) {
            const typename Logger::Text text = Logger::text();
            for (unsigned i = 0; i < kBurst; ++i) {
                const auto before = Clock::now();
                logger.line(text);
                took[index].push_back(std::chrono::duration<double, std::nano>(Clock::now() - before).count());
            }
        });
        logged += static_cast<std::size_t>(kBurst) * producers;
        state.PauseTiming();
        logger.wait();
        state.ResumeTiming();
    }
    std::vector<double> all;
    for (const auto& some : took) {
        all.insert(all.end(), some.begin(), some.end());
    }
    std::sort(all.begin(), all.end());
    state.counters["median_ns"] = all[all.size() / 2];
    state.counters["p99_ns"] = all[all.size() * 99 / 100];
    if (linesIn(logger.path()) != logged) {
        state.SkipWithError("lines were lost");
    }
}

template <class Logger>
void throughput(benchmark::State& state) {
    const auto producers = static_cast<unsigned>(state.range(0));
    Logger logger;
    std::size_t logged = 0;
    for (auto _ : state) {
        onThreads(producers, [&](unsigned) {
            const typename Logger::Text text = Logger::text();
            for (unsigned i = 0; i < kThroughputLines / producers; ++i) {
                logger.line(text);
            }
        });
        logger.wait();
        logged += kThroughputLines;
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(logged));
    if (linesIn(logger.path()) != logged) {
        state.SkipWithError("lines were lost");
    }
}

BENCHMARK_TEMPLATE(burst, Ours)->Arg(1)->Arg(2)->UseRealTime()->Iterations(100);
BENCHMARK_TEMPLATE(throughput, Ours)->Arg(1)->Arg(2)->UseRealTime()->Iterations(20);
#ifdef NEBRIX_HAVE_SPDLOG
BENCHMARK_TEMPLATE(burst, Peer)->Arg(1)->Arg(2)->UseRealTime()->Iterations(100);
BENCHMARK_TEMPLATE(throughput, Peer)->Arg(1)->Arg(2)->UseRealTime()->Iterations(20);
#endif

}  // namespace
