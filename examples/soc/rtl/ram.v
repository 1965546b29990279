// Data memory: 256 words, zero at the start, read in the same cycle.
`timescale 1ns / 1ns
`default_nettype none

module ram (
    input  wire        clk,
    input  wire        write,
    input  wire [7:0]  word,
    input  wire [31:0] wdata,
    output wire [31:0] rdata
);
    reg [31:0] words[255:0];

    assign rdata = words[word];
    always @(posedge clk) if (write) words[word] <= wdata;

    initial begin : clear
        integer i;
        for (i = 0; i < 256; i = i + 1) words[i] = 32'd0;
    end
endmodule

`default_nettype wire
