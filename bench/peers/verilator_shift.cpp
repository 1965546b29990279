// Verilator's wide shifts, inlined with a constant width as in its generated code.
//
// usage: verilator_shift
#include <verilated.h>
#include <verilated_funcs.h>

#include "bench/peers/shifts.h"

namespace {

template <int... Bits>
void measureAll() {
    EData* const out = reinterpret_cast<EData*>(shifted);
    const EData* const in = reinterpret_cast<const EData*>(operand);
    ((measure("left", Bits, [=](uint32_t by) { VL_SHIFTL_WWI(Bits, Bits, 32, out, in, by); }),
      measure("right", Bits, [=](uint32_t by) { VL_SHIFTR_WWI(Bits, Bits, 32, out, in, by); })),
     ...);
}

}  // namespace

int main() { measureAll<65, 128, 256, 512, 1024, 4096>(); }
