// A 64-bit cycle counter with one compare register.
//
//   0  count, low word       8  compare
//   4  count, high word      c  status: bit 3 is set when the low word reached the compare
//                               register; writing a one there clears it
`timescale 1ns / 1ns
`default_nettype none

module timer (
    input  wire        clk,
    input  wire        rst_n,
    input  wire        write,
    input  wire [1:0]  index,
    input  wire [31:0] wdata,
    output wire [31:0] rdata
);
    reg [63:0] count   = 64'd0;
    reg [31:0] compare = 32'hffff_ffff;
    reg [3:3]  match   = 1'b0;  // numbered as in the status register

    wire hit = count[31:0] == compare;

    assign rdata = (index == 2'd0) ? count[31:0] :
                   (index == 2'd1) ? count[63:32] :
                   (index == 2'd2) ? compare : {28'd0, match, 3'd0};

    always @(posedge clk) begin
        if (!rst_n) begin
            count   <= 64'd0;
            compare <= 32'hffff_ffff;
            match   <= 1'b0;
        end else begin
            count <= count + 64'd1;
            if (write & (index == 2'd2)) compare <= wdata;
            if (hit) match <= 1'b1;
            else if (write & (index == 2'd3) & wdata[3]) match <= 1'b0;
        end
    end
endmodule

`default_nettype wire
