// What generated code calls: shifts of wide values, and operations on whole arrays.
#include <cstdarg>
#include <cstring>
#include <vector>

#include "bench/compare.h"
#include "bench/peers/stimulus.h"
#include "bench/wide_call.h"
#include "qkzeft.h"

namespace {

/// Has the interface of a shift, but only copies: the cost of the call alone.
void copyChunks(unsigned bits, unsigned amount, ...) {
    uint64_t value[64];
    va_list list;
    va_start(list, amount);
    const unsigned chunks = (bits + 63) / 64;
    for (unsigned i = 0; i < chunks; ++i) value[i] = va_arg(list, uint64_t);
    for (unsigned i = 0; i < chunks; ++i) *va_arg(list, uint64_t*) = value[i];
    va_end(list);
}

// Read at each call, so that the compiler does not make a version for each width.
volatile WideShift copies = copyChunks;
volatile WideShift shiftsLeft = qk_wide_shift_left64;
volatile WideShift shiftsRight = qk_wide_shift_right64;

template <unsigned Bits>
void compareShift(benchmark::State& state, volatile WideShift& shift) {
    constexpr size_t calls = 1024;
    Random random;
    uint64_t value[(Bits + 63) / 64], result[(Bits + 63) / 64];
    for (uint64_t& chunk : value) chunk = random();
    if (Bits % 64) value[Bits / 64] &= (uint64_t{1} << Bits % 64) - 1;
    std::vector<unsigned> amounts;
    for (size_t i = 0; i < calls; ++i) amounts.push_back(static_cast<unsigned>(random() % Bits));
    const auto run = [&](volatile WideShift& what) {
        for (const unsigned amount : amounts) {
            callWideShift<Bits>(what, amount, value, result);
            benchmark::ClobberMemory();
        }
    };
    compareWithLimit(
        state, [&] { run(shift); }, [&] { run(copies); });
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(calls));
}

/// A shift by amounts that vary, beside a call with the same arguments that only copies.
/// @param state  range 0: bits of the value
void compareShift(benchmark::State& state, volatile WideShift& shift) {
    switch (state.range(0)) {
        case 65: return compareShift<65>(state, shift);
        case 128: return compareShift<128>(state, shift);
        case 256: return compareShift<256>(state, shift);
        case 512: return compareShift<512>(state, shift);
        case 1000: return compareShift<1000>(state, shift);
        default: return compareShift<4096>(state, shift);
    }
}
void BM_ShiftLeft(benchmark::State& state) { compareShift(state, shiftsLeft); }
void BM_ShiftRight(benchmark::State& state) { compareShift(state, shiftsRight); }
void widths(benchmark::internal::Benchmark* shift) {
    for (const int64_t bits : {65, 128, 256, 512, 1000, 4096}) shift->Arg(bits);
    shift->UseManualTime();
}
BENCHMARK(BM_ShiftLeft)->Apply(widths);
BENCHMARK(BM_ShiftRight)->Apply(widths);

/// An array of 100-bit elements.
struct Memory {
    explicit Memory(uint64_t elements) : low(elements), high(elements) {}
    std::vector<uint64_t> low;
    std::vector<uint64_t> high;
};

void BM_CopyArray(benchmark::State& state) {
    const auto count = static_cast<uint64_t>(state.range(0));
    Memory from(count), to(count);
    compareWithLimit(
        state,
        [&] {
            qk_copy_array(100, count, 0, 0, to.low.data(), to.high.data(), uint64_t{100}, count,
                          uint64_t{0}, uint64_t{0}, from.low.data(), from.high.data());
            benchmark::ClobberMemory();
        },
        [&] {
            std::memmove(to.low.data(), from.low.data(), 8 * count);
            std::memmove(to.high.data(), from.high.data(), 8 * count);
            benchmark::ClobberMemory();
        });
    state.SetBytesProcessed(state.iterations() * state.range(0) * 16);
}
BENCHMARK(BM_CopyArray)->Arg(1000)->Arg(100000)->Arg(1000000)->UseManualTime();

void BM_FillArray(benchmark::State& state) {
    const auto count = static_cast<uint64_t>(state.range(0));
    Memory memory(count);
    compareWithLimit(
        state,
        [&] {
            qk_set_array(0, count - 1, 100, count, 0, 0, memory.low.data(), memory.high.data(),
                         uint64_t{0x0123456789abcdef}, uint64_t{0});
            benchmark::ClobberMemory();
        },
        [&] {
            std::memset(memory.low.data(), 0x12, 8 * count);
            std::memset(memory.high.data(), 0, 8 * count);
            benchmark::ClobberMemory();
        });
    state.SetBytesProcessed(state.iterations() * state.range(0) * 16);
}
BENCHMARK(BM_FillArray)->Arg(1000)->Arg(100000)->Arg(1000000)->UseManualTime();

/// Two equal arrays, so that every element must be compared.
void BM_OrderArrays(benchmark::State& state) {
    const auto count = static_cast<uint64_t>(state.range(0));
    const Memory left(count), right(count);
    compareWithLimit(
        state,
        [&] {
            benchmark::DoNotOptimize(qk_array_relation_dgtd64(
                1, uint64_t{0}, uint64_t{0}, uint64_t{100}, count, uint64_t{0}, uint64_t{0},
                left.low.data(), left.high.data(), uint64_t{100}, count, uint64_t{0}, uint64_t{0},
                right.low.data(), right.high.data()));
        },
        [&] {
            benchmark::DoNotOptimize(std::memcmp(left.low.data(), right.low.data(), 8 * count));
            benchmark::DoNotOptimize(std::memcmp(left.high.data(), right.high.data(), 8 * count));
        });
    state.SetBytesProcessed(state.iterations() * state.range(0) * 32);
}
BENCHMARK(BM_OrderArrays)->Arg(1000)->Arg(100000)->Arg(1000000)->UseManualTime();

}  // namespace
