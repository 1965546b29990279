// Wide shifts by amounts that vary, beside other simulators' code.
//
// usage: ours_shift
#include "bench/peers/stimulus.h"
#include "bench/wide_call.h"
#include "qkzeft.h"

namespace {

uint32_t amounts[1024];
uint64_t value[64], shifted[64];

template <unsigned Bits>
void measure(const char* what, WideShift shift) {
    Random random;
    for (uint32_t& amount : amounts) amount = static_cast<uint32_t>(random() % Bits);
    for (uint64_t& chunk : value) chunk = random();
    if (Bits % 64) value[Bits / 64 % 64] &= (uint64_t{1} << Bits % 64) - 1;
    const size_t count = 40000000 / (64 + Bits / 8);
    const uint64_t from = nowNs();
    for (size_t i = 0; i < count; ++i) {
        callWideShift<Bits>(shift, amounts[i % 1024], value, shifted);
        asm volatile("" ::: "memory");
    }
    const std::string name = std::string(what) + "_" + std::to_string(Bits) + "_ns";
    result(name.c_str(), static_cast<double>(nowNs() - from) / static_cast<double>(count));
}

template <unsigned... Bits>
void measureAll() {
    ((measure<Bits>("left", qk_wide_shift_left64), measure<Bits>("right", qk_wide_shift_right64)),
     ...);
}

}  // namespace

int main() { measureAll<65, 128, 256, 512, 1024, 4096>(); }
