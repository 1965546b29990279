`timescale 1ns / 1ns
module tb;
    reg clk = 0, rst = 1;
    reg [11:0] d = 0;
    wire [11:0] q;
    wire [7:0] one;
    wire [23:0] all;
    array dut(clk, rst, d, q, one, all);
    always #5 clk = ~clk;
    always @(posedge clk) d <= $random;
    initial begin
        $dumpfile("trace.vcd");
        $dumpvars(0, dut);
        #22 rst = 0;
        #2000 $finish;
    end
endmodule
