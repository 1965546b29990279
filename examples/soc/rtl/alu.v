// Arithmetic unit of the execute stage: no clock, all results in the same cycle.
`timescale 1ns / 1ns
`default_nettype none

module alu (
    input  wire [3:0]  op,  // bit 30 and bits 14..12 of the instruction, or PASS_B
    input  wire [31:0] a,
    input  wire [31:0] b,
    output wire [31:0] y,
    output wire        eq,
    output wire        lt,   // signed
    output wire        ltu   // unsigned
);
    localparam ADD = 4'b0000, SUB = 4'b1000, SLL = 4'b0001, SLT = 4'b0010, SLTU = 4'b0011;
    localparam XOR = 4'b0100, SRL = 4'b0101, SRA = 4'b1101, OR = 4'b0110, AND = 4'b0111;
    localparam PASS_B = 4'b1111;

    wire        [32:0] diff  = {1'b0, a} - {1'b0, b};  // bit 32 is the borrow
    wire        [4:0]  shamt = b[4:0];
    wire signed [31:0] a_signed = a;
    wire        [31:0] sra = a_signed >>> shamt;

    assign eq  = a == b;
    assign ltu = diff[32];
    assign lt  = (a[31] ^ b[31]) ? a[31] : diff[31];

    assign y = (op == ADD)    ? a + b :
               (op == SUB)    ? diff[31:0] :
               (op == SLL)    ? a << shamt :
               (op == SLT)    ? {31'd0, lt} :
               (op == SLTU)   ? {31'd0, ltu} :
               (op == XOR)    ? a ^ b :
               (op == SRL)    ? a >> shamt :
               (op == SRA)    ? sra :
               (op == OR)     ? a | b :
               (op == AND)    ? a & b :
               (op == PASS_B) ? b : 32'd0;
endmodule

`default_nettype wire
