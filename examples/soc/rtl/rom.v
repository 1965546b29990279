// Program memory: 256 words, read by instruction fetch and over the data bus. The bench loads it.
`timescale 1ns / 1ns
`default_nettype none

module rom (
    input  wire [31:0] fetch_addr,
    output wire [31:0] fetch_data,
    input  wire [31:0] data_addr,
    output wire [31:0] data
);
    reg [31:0] words[255:0];

    assign fetch_data = words[fetch_addr[9:2]];
    assign data       = words[data_addr[9:2]];
endmodule

`default_nettype wire
