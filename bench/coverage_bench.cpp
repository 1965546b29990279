// Toggle coverage beside the same run without it.
#include <memory>

#include "bench/compare.h"
#include "bench/peers/stimulus_rows.h"
#include "model/live_model.h"
#include "qkzeft.h"

namespace {

/// Steps of a model whose nets change in part, `range(1)` percent at a time. `range(2)` is 1 for
/// values that count in their low bits: their high bits are never covered, so counting goes on.
void BM_Covered(benchmark::State& state) {
    const auto count = static_cast<size_t>(state.range(0));
    Stimulus stimulus(count, static_cast<double>(state.range(1)), state.range(2) != 0);
    qk_prints = [](const char*) {};
    auto module = std::make_unique<kelvo_module>("bench", "top");
    std::vector<std::string> names;
    for (size_t i = 0; i < count; ++i) names.push_back("n" + std::to_string(i));
    std::vector<QkGRNet> rows;
    for (size_t i = 0; i < count; ++i) appendRows(rows, stimulus, i, 0, names[i].c_str());
    QkRegistration::start(module.get(), 1, static_cast<int>(rows.size()), false);
    QkRegistration::addNets(module.get(), static_cast<int>(rows.size()), rows.data());
    QkRegistration::end(module.get());
    constexpr int steps = 1000;
    const auto run = [&] {
        for (int step = 0; step < steps; ++step) {
            stimulus.step();
            ++qk_cycle;
            qk_takenote();
        }
    };
    qk_cover("*");
    compareWithLimit(
        state,
        [&] {
            qkLiveModel->writer.coverage.resume();
            run();
        },
        [&] {
            qk_cover_stop();
            run();
        });
    state.SetItemsProcessed(state.iterations() * steps);
    module.reset();
}
BENCHMARK(BM_Covered)
    ->ArgsProduct({{2000, 100000}, {10, 1}, {0, 1}})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
