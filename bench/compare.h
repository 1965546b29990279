// Benchmarks relative to a limit, the fastest that the machine allows for the same work, measured
// in the same run.
//
// On a shared machine, times cannot be compared between runs; a ratio taken in one run is
// meaningful.
#pragma once

#include <benchmark/benchmark.h>

#include <chrono>

/// Runs `limit` and `ours` in turn and reports the time of `ours`, and its speed relative to the
/// limit: 1 is the limit's own speed.
template <class Ours, class Limit>
void compareWithLimit(benchmark::State& state, Ours&& ours, Limit&& limit) {
    using Clock = std::chrono::steady_clock;
    std::chrono::duration<double> ourTime{}, limitTime{};
    for (auto _ : state) {
        const auto start = Clock::now();
        limit();
        const auto middle = Clock::now();
        ours();
        const auto end = Clock::now();
        limitTime += middle - start;
        ourTime += end - middle;
        state.SetIterationTime(std::chrono::duration<double>(end - middle).count());
    }
    state.counters["of_limit"] = limitTime / ourTime;
}
