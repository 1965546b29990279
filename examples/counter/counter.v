// The design of this example, and a bench for it.
`timescale 1ns / 1ns

module counter(input clk, input clear, output [7:0] count);
    reg [7:0] value = 0;
    reg [71:0] total = 0;
    reg [7:0] history [15:0];
    wire wrap = value == 255;
    wire enable = !clear;
    wire [3:0] high = value[7:4];
    wire [8:1] ordinal = value;

    assign count = value;
    lap u_lap(.clk(clk), .wrap(wrap));

    always @(posedge clk) begin
        if (enable) begin
            value <= value + 1;
            total <= total + value * 64'h0100000000000000;
            history[value[3:0]] <= value;
            if (wrap) $display("wrapped, total %0d %h", total, high);
        end else begin
            value <= 0;
        end
    end
endmodule

module lap(input clk, input wrap);
    reg [15:0] laps = 0;
    always @(posedge clk) if (wrap) laps <= laps + 1;
endmodule

module tb;
    reg clk = 0, clear = 1;
    wire [7:0] count;
    counter dut(clk, clear, count);
    always #5 clk = !clk;
    initial begin
        $dumpfile("icarus.vcd");
        $dumpvars(0, tb);
        #12 clear = 0;
        #9988 $finish(0);
    end
endmodule
