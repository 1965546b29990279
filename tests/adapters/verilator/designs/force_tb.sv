// Registers of the packet engine get other values between two edges: sets.svh assigns them.
`timescale 1ns / 1ns
module tb;
    reg clk = 0, rst_n = 1, start = 0;
    packet dut (.clk(clk), .rst_n(rst_n), .start(start), .wide_i(96'h123456789abcdef012345678),
                .header_i(48'hfedcba987654));
    always #5 clk = ~clk;
    initial begin
        $dumpfile("trace.vcd");
        $dumpvars(0, tb);
        #0 rst_n = 0;
        #0 rst_n = 1;
        #30;
        dut.state = packet_pkg::TAIL;
        `include "sets.svh"
        #97 $finish;
    end
endmodule
