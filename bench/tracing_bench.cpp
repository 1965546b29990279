// Capture and VCD text beside what memory, write(2) and zlib allow.
#include <sys/mman.h>
#include <unistd.h>
#include <zlib.h>

#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>

#include "bench/compare.h"
#include "bench/peers/stimulus_rows.h"
#include "model/live_model.h"
#include "qkzeft.h"
#include "tracing/hot_loops.h"

namespace {

/// The name of a file in memory: with a disk, only the disk would be measured.
const char* fileInMemory() {
    static const std::string name =
        "/proc/self/fd/" + std::to_string(memfd_create("tracing_bench.vcd", 0));
    return name.c_str();
}

constexpr const char* kGzipFile = "tracing_bench.vcd.gz";

/// A module whose nets are those of a stimulus, all traced.
class TracedDesign {
public:
    TracedDesign(size_t count, double share, bool small) : stimulus(count, share, small) {
        qk_prints = [](const char*) {};
        module = std::make_unique<kelvo_module>("bench", "top");
        std::vector<std::string> names;
        for (size_t i = 0; i < count; ++i) names.push_back("n" + std::to_string(i));
        std::vector<QkGRNet> rows;
        for (size_t i = 0; i < count; ++i) appendRows(rows, stimulus, i, 0, names[i].c_str());
        QkRegistration::start(module.get(), 1, static_cast<int>(rows.size()), false);
        QkRegistration::addNets(module.get(), static_cast<int>(rows.size()), rows.data());
        QkRegistration::end(module.get());
        qk_cli("trace *");
    }
    ~TracedDesign() {
        qk_traceclose();
        qk_save("/dev/null");
        module.reset();
    }

    /// Runs `steps` captures. @return the time they took, in seconds
    double run(int steps) {
        uint64_t spent = 0;
        for (int step = 0; step < steps; ++step) {
            stimulus.step();
            ++qk_cycle;
            const uint64_t from = nowNs();
            qk_takenote();
            spent += nowNs() - from;
        }
        return static_cast<double>(spent) / 1e9;
    }

    Stimulus stimulus;

private:
    std::unique_ptr<kelvo_module> module;
};

std::string contents(const char* path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

/// A step in which nothing changes, beside one pass of reads over twice the model's memory: the
/// comparison has to read the model and its image.
void BM_IdleStep(benchmark::State& state) {
    if (!hotLoopsOf(static_cast<VectorUnit>(state.range(1)))) {
        state.SkipWithError("the machine has no such unit");
        return;
    }
    const auto count = static_cast<size_t>(state.range(0));
    TracedDesign design(count, 0, false);
    useVectorUnit(static_cast<VectorUnit>(state.range(1)));
    design.run(2);
    const size_t bytes = design.stimulus.nets.back().offset + 16;
    std::vector<unsigned char> image(design.stimulus.at(0), design.stimulus.at(0) + bytes);
    compareWithLimit(
        state, [&] { design.run(1); },
        [&] { benchmark::DoNotOptimize(std::memcmp(image.data(), design.stimulus.at(0), bytes)); });
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(count));
    state.SetLabel(hotLoops().name);
    useVectorUnit(hotLoopsOf(kAvx512Unit) ? kAvx512Unit
                  : hotLoopsOf(kAvx2Unit) ? kAvx2Unit
                                          : kPlainUnit);
}
BENCHMARK(BM_IdleStep)
    ->ArgsProduct({{2000, 100000, 1000000}, {kPlainUnit, kAvx2Unit, kAvx512Unit}})
    ->UseManualTime();

/// Changes written as text, beside write(2) of the same text made before. `range(1)` is the share
/// of the nets that change in a step, in percent; `range(2)` is 1 for values with few digits.
void BM_VcdText(benchmark::State& state) {
    const auto count = static_cast<size_t>(state.range(0));
    const auto share = static_cast<double>(state.range(1));
    const int steps = std::max(4, static_cast<int>(2e7 / (static_cast<double>(count) * share)));
    TracedDesign design(count, share, state.range(2) != 0);
    qk_traceto(fileInMemory());
    design.run(steps);
    qk_traceclose();
    const std::string text = contents(fileInMemory());

    double ours = 0, limit = 0;
    const uint64_t before = design.stimulus.changes;
    for (auto _ : state) {
        FILE* const file = std::fopen(fileInMemory(), "w");
        constexpr size_t piece = 256 * 1024;
        uint64_t from = nowNs();
        for (size_t at = 0; at < text.size(); at += piece)
            if (write(fileno(file), text.data() + at, std::min(piece, text.size() - at)) < 0) break;
        limit += static_cast<double>(nowNs() - from) / 1e9;
        std::fclose(file);

        qk_traceto(fileInMemory());
        double time = design.run(steps);
        from = nowNs();
        qk_traceclose();
        time += static_cast<double>(nowNs() - from) / 1e9;
        ours += time;
        state.SetIterationTime(time);
    }
    state.SetItemsProcessed(static_cast<int64_t>(design.stimulus.changes - before));
    state.counters["of_limit"] = limit / ours;
}
BENCHMARK(BM_VcdText)
    ->ArgsProduct({{2000, 100000}, {100, 10, 1}, {0, 1}})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

/// Changes recorded in circular memory, beside a copy of as many entries.
void BM_Circular(benchmark::State& state) {
    const auto count = static_cast<size_t>(state.range(0));
    const auto share = static_cast<double>(state.range(1));
    const int steps = std::max(4, static_cast<int>(2e7 / (static_cast<double>(count) * share)));
    qk_strict = false;
    TracedDesign design(count, share, false);
    qk_circular(100000);
    design.run(steps);
    double ours = 0, limit = 0;
    const uint64_t before = design.stimulus.changes;
    std::vector<OutputChange> from(1000), to(100000);
    for (auto _ : state) {
        const uint64_t changes = design.stimulus.changes;
        const double time = design.run(steps);
        ours += time;
        state.SetIterationTime(time);
        const uint64_t start = nowNs();
        size_t at = 0;
        for (uint64_t done = changes; done < design.stimulus.changes; done += from.size()) {
            std::memcpy(&to[at], from.data(), from.size() * sizeof from[0]);
            benchmark::DoNotOptimize(to.data());
            at = (at + from.size()) % to.size();
        }
        limit += static_cast<double>(nowNs() - start) / 1e9;
    }
    state.SetItemsProcessed(static_cast<int64_t>(design.stimulus.changes - before));
    state.counters["of_limit"] = limit / ours;
    qk_circular(0);
    qk_strict = true;
}
BENCHMARK(BM_Circular)
    ->ArgsProduct({{2000, 100000}, {100, 1}})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

/// A gzip file, beside zlib alone with the same settings on the same text; and how much faster and
/// larger than zlib's default level that is.
void BM_GzipVcd(benchmark::State& state) {
    constexpr size_t count = 2000;
    constexpr int steps = 1000;
    TracedDesign design(count, 10, state.range(0) != 0);
    qk_traceto(fileInMemory());
    design.run(steps);
    qk_traceclose();
    const std::string text = contents(fileInMemory());
    const auto compress = [&](const char* mode) {
        gzFile file = gzopen(kGzipFile, mode);
        gzwrite(file, text.data(), static_cast<unsigned>(text.size()));
        gzclose(file);
        return static_cast<double>(contents(kGzipFile).size());
    };
    const uint64_t from = nowNs();
    const double defaultBytes = compress("wb");
    const auto defaultTime = static_cast<double>(nowNs() - from) / 1e9;
    double time = 0;
    compareWithLimit(
        state,
        [&] {
            const uint64_t start = nowNs();
            qk_traceto(kGzipFile);
            design.run(steps);
            qk_traceclose();
            time += static_cast<double>(nowNs() - start) / 1e9;
        },
        [&] { compress("wb1R"); });
    qk_traceto(kGzipFile);
    design.run(steps);
    qk_traceclose();
    state.counters["of_default_speed"] =
        defaultTime / (time / static_cast<double>(state.iterations()));
    state.counters["of_default_size"] =
        static_cast<double>(contents(kGzipFile).size()) / defaultBytes;
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
    std::remove(kGzipFile);
}
BENCHMARK(BM_GzipVcd)->Arg(0)->Arg(1)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
