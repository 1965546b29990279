// Two flip-flops that bring a bit from another clock domain.
`timescale 1ns / 1ns
`default_nettype none

module sync2 (
    input  wire clk,
    input  wire d,
    output wire q
);
    reg [1:0] stage = 2'b00;

    assign q = stage[1];
    always @(posedge clk) stage <= {stage[0], d};
endmodule

`default_nettype wire
