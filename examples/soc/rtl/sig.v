// A 100-bit signature register over bus writes: each one shifts it and mixes address and data in.
// The four words of it can be read at any time, and the last eight states are kept.
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
    wire [31:0] wdata_n = ~wdata;
    wire [99:0] inject = {wdata, addr, wdata_n, 4'd0};
    wire [99:0] next   = {state[98:0], carry} ^ inject;

    reg [99:0] trail[0:7];
    reg [2:0]  slot = 3'd0;  // of the trail, written next

    assign rdata = (index == 2'd0) ? state[31:0] :
                   (index == 2'd1) ? state[63:32] :
                   (index == 2'd2) ? state[95:64] : {28'd0, state[99:96]};

    always @(posedge clk) begin
        if (!rst_n) begin
            state <= 100'd1;
            slot  <= 3'd0;
        end else if (update) begin
            state       <= next;
            trail[slot] <= state;
            slot        <= slot + 3'd1;
        end
    end

    initial begin : clear
        integer i;
        for (i = 0; i < 8; i = i + 1) trail[i] = 100'd0;
    end
endmodule

`default_nettype wire
