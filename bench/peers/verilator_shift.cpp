// Verilator's wide shifts, inlined with a constant width as in its generated code.
//
// usage: verilator_shift
#include <verilated.h>
#include <verilated_funcs.h>

#include "bench/peers/stimulus.h"

namespace {

uint32_t amounts[1024];
uint64_t value[64], shifted[64];

template <class Shift>
void measure(const char* what, unsigned bits, Shift&& shift) {
    Random random;
    for (uint32_t& amount : amounts) amount = static_cast<uint32_t>(random() % bits);
    for (uint64_t& chunk : value) chunk = random();
    if (bits % 64) value[bits / 64] &= (uint64_t{1} << bits % 64) - 1;
    const size_t count = 40000000 / (64 + bits / 8);
    const uint64_t from = nowNs();
    for (size_t i = 0; i < count; ++i) {
        shift(amounts[i % 1024]);
        asm volatile("" ::: "memory");
    }
    const std::string name = std::string(what) + "_" + std::to_string(bits) + "_ns";
    result(name.c_str(), static_cast<double>(nowNs() - from) / static_cast<double>(count));
}

template <int... Bits>
void measureAll() {
    EData* const out = reinterpret_cast<EData*>(shifted);
    const EData* const in = reinterpret_cast<const EData*>(value);
    ((measure("left", Bits, [=](uint32_t by) { VL_SHIFTL_WWI(Bits, Bits, 32, out, in, by); }),
      measure("right", Bits, [=](uint32_t by) { VL_SHIFTR_WWI(Bits, Bits, 32, out, in, by); })),
     ...);
}

}  // namespace

int main() { measureAll<65, 128, 256, 512, 1024, 4096>(); }
