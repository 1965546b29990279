// The bench for Verilator.
#include <verilated_vcd_c.h>

#include "Vdut.h"

int main() {
    VerilatedContext context;
    context.traceEverOn(true);
    Vdut dut{&context};
    VerilatedVcdC vcd;
    dut.trace(&vcd, 99);
    vcd.open("out.vcd");
    for (unsigned time = 0; time <= 45; time += 5) {
        dut.clk = time < 45 ? time / 5 & 1 : 0;
        dut.eval();
        vcd.dump(time);
    }
    vcd.close();
}
