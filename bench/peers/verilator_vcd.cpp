// VCD text by Verilator's writer.
#include <verilated_vcd_c.h>

#include "bench/peers/verilator_writer.h"

namespace {

struct Declare {
    static void declare(VerilatedVcd* vcd, uint32_t code, const char* name, uint32_t width) {
        const int top = static_cast<int>(width) - 1;
        if (width == 1)
            vcd->declBit(code, name, false, -1);
        else if (width <= 32)
            vcd->declBus(code, name, false, -1, top, 0);
        else if (width <= 64)
            vcd->declQuad(code, name, false, -1, top, 0);
        else
            vcd->declArray(code, name, false, -1, top, 0);
    }
};

}  // namespace

int main(int argc, char** argv) { return writeWaveform<VerilatedVcdC, Declare>(argc, argv); }
