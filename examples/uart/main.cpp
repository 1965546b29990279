// A user's own bench around a model that Verilator made, with the console and waveforms. Built by
// qkverilate --tables and verilator, as docs/verilator.md shows.
#include <qkzeft.h>

#include "Vuart.h"
#include "qkvl.h"

int main(int argc, char** argv) {
    VerilatedContext context;
    context.commandArgs(argc, argv);
    Vuart uart(&context, "TOP");
    qkvl_attach(uart, context);
    qk_cli("traceto own.vcd");
    qk_cli("trace *");

    uart.rst = 1;
    for (uint64_t time = 0; time <= 1000; time += 5) {
        if (time == 20) uart.rst = 0;
        uart.push = time >= 40 && time < 60;
        uart.data = 0x55;
        uart.clk = time / 5 % 2;
        qkvl_step(time);  // eval(), at this time
        qkvl_takenote();  // records, and opens the console where it is asked for
    }
    std::printf("left %d\n", static_cast<int>(QkVariable::GetByName("uart.left")->GetValue()));
    uart.final();
    qk_exit(0);
}
