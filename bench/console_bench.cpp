// Console text and listings beside the stream that they go to.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "bench/compare.h"
#include "qkzeft.h"

namespace {

/// A message through the default delivery, beside a write of the same text and a flush.
void BM_Message(benchmark::State& state) {
    FILE* const sink = std::fopen("/dev/null", "w");
    qk_stdout = sink;
    int number = 0;
    compareWithLimit(
        state,
        [&] {
            for (int i = 0; i < 1000; ++i)
                qk_printf("time=%s: %d of %d values traced: ready\n", qk_cycle_as_string(),
                          ++number, 100);
        },
        [&] {
            for (int i = 0; i < 1000; ++i) {
                std::fprintf(sink, "time=%s: %d of %d values traced: ready\n", "0ns", ++number,
                             100);
                std::fflush(sink);
            }
        });
    state.SetItemsProcessed(state.iterations() * 1000);
    qk_stdout = stdout;
    std::fclose(sink);
}
BENCHMARK(BM_Message)->UseManualTime();

/// `ls` of every net, beside printing as much text a line at a time.
void BM_Listing(benchmark::State& state) {
    const auto count = static_cast<size_t>(state.range(0));
    std::vector<uint32_t> storage(count);
    std::vector<std::string> names;
    std::vector<QkGRNet> rows;
    for (size_t i = 0; i < count; ++i) names.push_back("n" + std::to_string(i));
    for (size_t i = 0; i < count; ++i)
        rows.push_back({0, static_cast<int>(i) + 1, names[i].c_str(), &storage[i], 31, 0, 1, 0, 0,
                        0, 0, nullptr, nullptr});
    kelvo_module module("bench", "top");
    QkRegistration::start(&module, 1, static_cast<int>(count), false);
    QkRegistration::addNets(&module, static_cast<int>(count), rows.data());
    QkRegistration::end(&module);
    FILE* const sink = std::fopen("/dev/null", "w");
    qk_stdout = sink;
    compareWithLimit(
        state, [&] { qk_cli("ls"); },
        [&] {
            for (size_t i = 0; i < count; ++i)
                std::fprintf(sink, "%*s.%-*s    : %08x\n", 3, "top", 8, names[i].c_str(),
                             storage[i]);
        });
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(count));
    qk_stdout = stdout;
    std::fclose(sink);
}
BENCHMARK(BM_Listing)
    ->Arg(1000)
    ->Arg(30000)
    ->Arg(1000000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

/// `readmemh` of a file of 32-bit values, beside one pass over the file that only adds up digits.
void BM_ReadImage(benchmark::State& state) {
    const auto count = static_cast<size_t>(state.range(0));
    const char* const path = "console_bench.mem";
    FILE* const image = std::fopen(path, "w");
    uint32_t value = 1;
    for (size_t i = 0; i < count; ++i) std::fprintf(image, "%08x\n", value = value * 69069 + 1);
    std::fclose(image);

    std::vector<uint32_t> storage(count);
    const QkGRNet row{
        0, 1, "mem", storage.data(), 31,     0, 1 | QK_array, static_cast<int>(count) - 1,
        0, 0, 0,     nullptr,        nullptr};
    kelvo_module module("bench", "top");
    QkRegistration::start(&module, 1, 1, false);
    QkRegistration::addNets(&module, 1, &row);
    QkRegistration::end(&module);
    FILE* const sink = std::fopen("/dev/null", "w");
    qk_stdout = sink;
    std::vector<unsigned char> block(64 * 1024);
    compareWithLimit(
        state, [&] { qk_readmemh("top.mem", path); },
        [&] {
            FILE* const file = std::fopen(path, "r");
            uint64_t sum = 0;
            while (const size_t bytes = std::fread(block.data(), 1, block.size(), file))
                for (size_t i = 0; i < bytes; ++i) sum = sum * 16 + block[i];
            std::fclose(file);
            benchmark::DoNotOptimize(sum);
        });
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(count) * 9);
    qk_stdout = stdout;
    std::fclose(sink);
    std::remove(path);
}
BENCHMARK(BM_ReadImage)
    ->Arg(1000)
    ->Arg(30000)
    ->Arg(1000000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
