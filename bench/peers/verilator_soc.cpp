// The example's processor as Verilator compiles it, in the shortest possible loop: verilator_soc
// CYCLES IMAGE [VCD]
#include <cstdlib>
#include <memory>

#include "Vsoc.h"
#include "verilated.h"
#include "verilated_syms.h"
#if VM_TRACE
#include "verilated_vcd_c.h"
#endif

int main(int argc, char** argv) {
    if (argc < 3) return 2;
    VerilatedContext context;
    Vsoc soc(&context, "TOP");
    soc.eval();
    void* const words = context.scopeFind("TOP.soc.u_rom")->varFind("words")->datap();
    VL_READMEM_N(true, 32, 256, 0, argv[2], words, 0, 255);
#if VM_TRACE
    context.traceEverOn(true);
    VerilatedVcdC trace;
    soc.trace(&trace, 99);
    trace.open(argc > 3 ? argv[3] : "/dev/null");
#endif
    const uint64_t halves = 2 * std::strtoull(argv[1], nullptr, 10);
    for (uint64_t half = 0; half < halves; ++half) {
        context.time(5 * half);
        soc.clk = half & 1;
        if (half == 8) soc.rst_n = 1;
        soc.eval();
#if VM_TRACE
        trace.dump(5 * half);
#endif
    }
    soc.final();
    return 0;
}
