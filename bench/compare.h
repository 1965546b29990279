// Benchmarks beside a limit: what the machine allows for the same work, measured in the same run.
//
// Times mean nothing from one run to the next on a shared machine; a ratio taken in one run does.
#pragma once

#include <benchmark/benchmark.h>

#include <chrono>

/// Runs `limit` and `ours` in turn and reports the time of `ours`, and how fast it was beside the
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
