// An FST file by the writer that Verilator bundles.
#include <verilated_fst_c.h>

#include "bench/peers/verilator_writer.h"

namespace {

struct Declare {
    static void declare(VerilatedFst* fst, uint32_t code, const char* name, uint32_t width) {
        constexpr fstVarDir direction = FST_VD_IMPLICIT;
        constexpr fstVarType type = FST_VT_VCD_WIRE;
        const int top = static_cast<int>(width) - 1;
        if (width == 1)
            fst->declBit(code, name, 0, direction, type, false, -1);
        else if (width <= 32)
            fst->declBus(code, name, 0, direction, type, false, -1, top, 0);
        else if (width <= 64)
            fst->declQuad(code, name, 0, direction, type, false, -1, top, 0);
        else
            fst->declArray(code, name, 0, direction, type, false, -1, top, 0);
    }
};

}  // namespace

int main(int argc, char** argv) { return writeWaveform<VerilatedFstC, Declare>(argc, argv); }
