// Random numbers, each kind through the call of generated code beside the bare arithmetic.
#include "bench/compare.h"
#include "qkzeft_random.h"
#include "systasks/distributions.h"

namespace {

constexpr int kDraws = 10000;

template <class Call, class Draw>
void compareDraws(benchmark::State& state, Call&& call, Draw&& draw) {
    uint32_t ours = 1, limit = 1, sum = 0;
    const auto repeat = [&](auto&& one, uint32_t& seed) {
        for (int i = 0; i < kDraws; ++i) sum += static_cast<uint32_t>(one(seed));
        benchmark::DoNotOptimize(sum);
    };
    compareWithLimit(
        state, [&] { repeat(call, ours); }, [&] { repeat(draw, limit); });
    state.SetItemsProcessed(state.iterations() * kDraws);
}

void BM_Random(benchmark::State& state) {
    compareDraws(
        state, [](uint32_t& seed) { return qkzeft_random(0, "top", nullptr, 1, -32, &seed); },
        [](uint32_t& seed) { return drawRandom(seed); });
}
BENCHMARK(BM_Random)->UseManualTime();

void BM_Uniform(benchmark::State& state) {
    compareDraws(
        state,
        [](uint32_t& seed) {
            return qkzeft_uniform(0, "top", nullptr, 3, -32, &seed, 32, -1000, 32, 1000);
        },
        [](uint32_t& seed) { return drawUniform(seed, -1000, 1000); });
}
BENCHMARK(BM_Uniform)->UseManualTime();

void BM_Normal(benchmark::State& state) {
    compareDraws(
        state,
        [](uint32_t& seed) {
            return qkzeft_normal(0, "top", nullptr, 3, -32, &seed, 32, 0, 32, 1000);
        },
        [](uint32_t& seed) { return drawNormal(seed, 0, 1000); });
}
BENCHMARK(BM_Normal)->UseManualTime();

void BM_Poisson(benchmark::State& state) {
    compareDraws(
        state,
        [](uint32_t& seed) { return qkzeft_poisson(0, "top", nullptr, 2, -32, &seed, 32, 10); },
        [](uint32_t& seed) { return drawPoisson(seed, 10); });
}
BENCHMARK(BM_Poisson)->UseManualTime();

}  // namespace
