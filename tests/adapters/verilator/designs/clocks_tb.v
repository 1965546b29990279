`timescale 1ns / 100ps
module tb;
    reg fast = 1, slow = 1, rst = 0, gate = 0;
    reg [7:0] d = 1;
    wire [7:0] a, b, c, e;
    clocks dut (.fast(fast), .slow(slow), .rst(rst), .gate(gate), .d(d), .a(a), .b(b), .c(c),
                .e(e));
    always #3.5 fast = ~fast;
    always #5.3 slow = ~slow;
    initial begin
        $dumpfile("trace.vcd");
        $dumpvars(0, tb);
        #20.2 rst = 1;
        #9.1 rst = 0;
        #3000 $finish;
    end
    always @(posedge fast) begin
        d <= $random;
        gate <= $random;
    end
endmodule
