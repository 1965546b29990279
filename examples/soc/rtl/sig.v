// A 100-bit signature register over bus writes: each one shifts it and mixes address and data in.
// The four words of it can be read at any time.
`timescale 1ns / 1ns
`default_nettype none

module sig (
    input  wire        clk,
    input  wire        rst_n,
    input  wire        update,
    input  wire [31:0] addr,
    input  wire [31:0] wdata,
    input  wire [1:0]  index,
    output wire [31:0] rdata
);
    reg  [99:0] state  = 100'd1;
    wire        carry  = state[99] ^ state[62];
    wire [99:0] inject = {wdata, addr, ~wdata, 4'd0};
    wire [99:0] next   = {state[98:0], carry} ^ inject;

    assign rdata = (index == 2'd0) ? state[31:0] :
                   (index == 2'd1) ? state[63:32] :
                   (index == 2'd2) ? state[95:64] : {28'd0, state[99:96]};

    always @(posedge clk) begin
        if (!rst_n) state <= 100'd1;
        else if (update) state <= next;
    end
endmodule

`default_nettype wire
