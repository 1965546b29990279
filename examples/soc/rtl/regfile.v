// The 32 registers: two read ports that see a write of the same cycle, one write port.
`timescale 1ns / 1ns
`default_nettype none

module regfile (
    input  wire        clk,
    input  wire        we,  // never with waddr 0: register 0 reads as zero
    input  wire [4:0]  waddr,
    input  wire [31:0] wdata,
    input  wire [4:0]  raddr1,
    input  wire [4:0]  raddr2,
    output wire [31:0] rdata1,
    output wire [31:0] rdata2
);
    reg [31:0] regs[31:0];

    wire bypass1 = we & (waddr == raddr1);
    wire bypass2 = we & (waddr == raddr2);
    assign rdata1 = bypass1 ? wdata : regs[raddr1];
    assign rdata2 = bypass2 ? wdata : regs[raddr2];

    always @(posedge clk) if (we) regs[waddr] <= wdata;

    initial begin : clear
        integer i;
        for (i = 0; i < 32; i = i + 1) regs[i] = 32'd0;
    end
endmodule

`default_nettype wire
