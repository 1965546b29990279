`timescale 1ns / 1ns
module tb;
    reg clk = 0, write = 0, low = 0, other = 0;
    reg [7:0] value = 0, mine = 0;
    wire [7:0] bus, seen, sum;
    wire [69:0] wide, last;
    wire line;
    pads dut(clk, write, value, low, bus, line, wide, seen, sum, last);
    assign bus = write ? 8'bz : mine;
    assign wide = {write ? 10'bz : {2'b01, mine}, {6{mine, ~mine[1:0]}}};
    assign line = other ? 1'b0 : 1'bz;
    pullup(line);
    always #5 clk = ~clk;
    always @(posedge clk) begin
        value <= $random;
        mine <= $random;
        write <= $random;
        low <= $random;
        other <= $random;
    end
    initial begin
        $dumpfile("trace.vcd");
        $dumpvars(0, dut);
        #2002 $finish;
    end
endmodule
