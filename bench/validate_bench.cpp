// Reading a trace and driving the model from it, beside reading the file and finding its line ends.
#include <sys/mman.h>
#include <unistd.h>
#include <zlib.h>

#include <cstdio>
#include <cstring>
#include <memory>

#include "bench/compare.h"
#include "bench/peers/stimulus_rows.h"
#include "console/console.h"
#include "model/live_model.h"
#include "qkzeft.h"

namespace {

/// The name of a file in memory: with a disk, only the disk would be measured.
const char* fileInMemory() {
    static const std::string name =
        "/proc/self/fd/" + std::to_string(memfd_create("validate_bench.vcd", 0));
    return name.c_str();
}

/// A design whose nets the trace drives or is compared with, and a trace of them.
class ReplayedDesign {
public:
    ReplayedDesign(size_t count, bool small, bool compared) : stimulus(count, 10, small) {
        qk_prints = [](const char*) {};
        qk_step_fn = [] {};
        module = std::make_unique<kelvo_module>("bench", "top");
        std::vector<std::string> names;
        for (size_t i = 0; i < count; ++i) names.push_back("n" + std::to_string(i));
        std::vector<QkGRNet> rows;
        for (size_t i = 0; i < count; ++i) appendRows(rows, stimulus, i, 0, names[i].c_str());
        for (QkGRNet& row : rows) row.flags = QK_flag_register;
        QkRegistration::start(module.get(), 1, static_cast<int>(rows.size()), false);
        QkRegistration::addNets(module.get(), static_cast<int>(rows.size()), rows.data());
        QkRegistration::end(module.get());
        qk_cli("trace *");
        qk_traceto(fileInMemory());
        const int steps = static_cast<int>(2'000'000 * 10 / count);
        for (int step = 0; step < steps; ++step) {
            stimulus.step();
            ++qk_cycle;
            qk_takenote();
        }
        qk_traceclose();
        qk_cli("untrace *");
        QkName* const first = qkLiveModel->names;
        NameRing::each(first, [&](QkName* name) { name->stimulus = !compared || name == first; });
        qkLiveModel->reader.threshold = -1;
    }
    ~ReplayedDesign() { module.reset(); }

    Stimulus stimulus;

private:
    std::unique_ptr<kelvo_module> module;
};

size_t readLineEnds(const char* path) {
    static std::vector<char> buffer(0x800000);
    const gzFile file = gzopen(path, "rb");
    size_t bytes = 0;
    for (int count; (count = gzread(file, buffer.data(), 0x800000)) > 0;) {
        const char *at = buffer.data(), *const end = at + count;
        while ((at = static_cast<const char*>(
                    std::memchr(at, '\n', static_cast<size_t>(end - at)))) != nullptr)
            benchmark::DoNotOptimize(++at);
        bytes += static_cast<size_t>(count);
    }
    gzclose(file);
    return bytes;
}

/// `range(1)` is 1 for values with few digits; `range(2)` is 1 for nets that are compared and all
/// differ.
void BM_Replay(benchmark::State& state) {
    ReplayedDesign design(static_cast<size_t>(state.range(0)), state.range(1) != 0,
                          state.range(2) != 0);
    size_t bytes = 0;
    compareWithLimit(
        state, [&] { qk_mtc(fileInMemory()); }, [&] { bytes = readLineEnds(fileInMemory()); });
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
}
BENCHMARK(BM_Replay)
    ->ArgsProduct({{2000, 100000}, {0, 1}, {0, 1}})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
