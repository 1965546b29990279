// Wide shifts by amounts that vary, beside other simulators' code.
//
// usage: ours_shift
#include "bench/peers/shifts.h"
#include "bench/wide_call.h"
#include "qkzeft.h"

namespace {

template <unsigned Bits>
void measureBoth() {
    measure("left", Bits,
            [](uint32_t by) { callWideShift<Bits>(qk_wide_shift_left64, by, operand, shifted); });
    measure("right", Bits,
            [](uint32_t by) { callWideShift<Bits>(qk_wide_shift_right64, by, operand, shifted); });
}

template <unsigned... Bits>
void measureAll() {
    (measureBoth<Bits>(), ...);
}

}  // namespace

int main() { measureAll<65, 128, 256, 512, 1024, 4096>(); }
