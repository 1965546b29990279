`timescale 1ns / 1ns
module tb;
    reg clk = 0, write = 0;
    reg [3:0] address = 0;
    reg [7:0] flat [0:5];
    memories dut (.clk(clk), .address(address), .write(write));
    always #5 clk = ~clk;
    initial begin
        $readmemh("m8.hex", dut.m8);
        $readmemh("m12.hex", dut.m12);
        $readmemh("m32.hex", dut.m32);
        $readmemh("m48.hex", dut.m48);
        $readmemh("m100.hex", dut.m100);
        $readmemh("grid.hex", flat);
        for (int i = 0; i < 6; i++) dut.grid[i / 3][i % 3] = flat[i];
        $dumpfile("trace.vcd");
        $dumpvars(0, tb);
        #800 $writememh("m100.out", dut.m100);
        $finish;
    end
    always @(posedge clk) begin
        address <= $random;
        write <= $random;
    end
endmodule
