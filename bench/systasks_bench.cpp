// $display beside hand-written code that prints the same lines and reads no format.
#include <cstdio>

#include "bench/compare.h"
#include "bench/peers/display_lines.h"
#include "qkzeft_run.h"

namespace {

constexpr int kLines = 1000;

char* addText(char* out, const char* text) { return stpcpy(out, text); }

char* addDigits(char* out, uint64_t value, int digits, int bitsPerDigit) {
    for (int i = digits; i-- > 0;)
        *out++ = "0123456789abcdef"[value >> (i * bitsPerDigit) & ((1u << bitsPerDigit) - 1)];
    return out;
}

char* addDecimal(char* out, uint64_t high, uint64_t low, int field) {
    __extension__ using Wide = unsigned __int128;
    const uint64_t kStep = 10'000'000'000'000'000'000u;
    Wide rest = static_cast<Wide>(high) << 64 | low;
    char text[40];
    char* begin = text + sizeof text;
    for (; rest >= kStep; rest /= kStep) {
        auto part = static_cast<uint64_t>(rest % kStep);
        for (int i = 0; i < 19; ++i, part /= 10) *--begin = static_cast<char>('0' + part % 10);
    }
    auto part = static_cast<uint64_t>(rest);
    do *--begin = static_cast<char>('0' + part % 10);
    while (part /= 10);
    const auto length = text + sizeof text - begin;
    for (auto i = length; i < field; ++i) *out++ = ' ';
    std::memcpy(out, begin, static_cast<size_t>(length));
    return out + length;
}

/// @return the end of the line's text
char* writeByHand(char* out, DisplayLines& design, int kind) {
    design.change();
    if (kind == 1) {
        out = addDigits(addText(out, "addr "), design.a, 8, 4);
        out = addDecimal(addText(out, " count "), 0, design.d, 10);
        out = addDigits(addText(out, " flags "), design.b, 16, 1);
        out = addText(addText(out, " state "), "verified");
    } else if (kind == 2) {
        out = addDigits(addDigits(addText(out, "wide "), design.high, 16, 4), design.low, 16, 4);
        out = addDecimal(addText(out, " dec "), design.high, design.low, 0);
        out = addDigits(addText(out, " bin "), design.high, 64, 1);
        out = addDigits(out, design.low, 64, 1);
    } else {
        out = addText(out, "a line of plain text with no value in it at all");
    }
    return addText(out, "\n");
}

template <class Deliver>
void compareLines(benchmark::State& state, int kind, Deliver&& deliver) {
    DisplayLines ours, limit;
    compareWithLimit(
        state,
        [&] {
            for (int i = 0; i < kLines; ++i) ours.step(kind);
        },
        [&] {
            char line[512];
            for (int i = 0; i < kLines; ++i) {
                writeByHand(line, limit, kind);
                deliver(line);
            }
        });
    state.SetItemsProcessed(state.iterations() * kLines);
}

void keep(const char* text) { benchmark::DoNotOptimize(std::strlen(text)); }

/// Lines that the embedding program takes: formatting alone.
void compareKept(benchmark::State& state, int kind) {
    void (*const delivery)(const char*) = qk_prints;
    qk_prints = keep;
    compareLines(state, kind, keep);
    qk_prints = delivery;
}

void BM_DisplayNarrow(benchmark::State& state) { compareKept(state, 1); }
BENCHMARK(BM_DisplayNarrow)->UseManualTime();

void BM_DisplayWide(benchmark::State& state) { compareKept(state, 2); }
BENCHMARK(BM_DisplayWide)->UseManualTime();

void BM_DisplayText(benchmark::State& state) { compareKept(state, 3); }
BENCHMARK(BM_DisplayText)->UseManualTime();

/// The narrow line through the default delivery, which flushes.
void BM_DisplayDelivered(benchmark::State& state) {
    FILE* const sink = std::fopen("/dev/null", "w");
    qk_stdout = sink;
    compareLines(state, 1, [&](const char* line) {
        std::fputs(line, sink);
        std::fflush(sink);
    });
    qk_stdout = stdout;
    std::fclose(sink);
}
BENCHMARK(BM_DisplayDelivered)->UseManualTime();

}  // namespace
