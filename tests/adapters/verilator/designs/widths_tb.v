`timescale 1ns / 1ns
module tb;
    reg clk = 0;
    reg [7:3] d_offset = 0;
    reg [3:3] d_bit = 0;
    reg [0:0] d_zero = 0;
`undef W
`define W(N) reg [N-1:0] d``N = 0; reg [0:N-1] a``N = 0;
    `WIDTHS
`undef W
`define W(N) , .d``N(d``N), .a``N(a``N)
    widths dut (.clk(clk), .d_offset(d_offset), .d_bit(d_bit), .d_zero(d_zero) `WIDTHS);
    always #5 clk = ~clk;
    initial begin
        $dumpfile("trace.vcd");
        $dumpvars(0, tb);
        #400 $finish;
    end
`undef W
`define W(N) \
        d``N <= {$random, $random, $random, $random, $random}; \
        a``N <= {$random, $random, $random, $random, $random};
    always @(posedge clk) begin
        {d_offset, d_bit, d_zero} <= $random;
        `WIDTHS
    end
endmodule
