// Sixteen bytes between the bus and the serial line. A push when full and a pop when empty are
// ignored.
`timescale 1ns / 1ns
`default_nettype none

module fifo (
    input  wire       clk,
    input  wire       rst_n,
    input  wire       push,
    input  wire [7:0] din,
    output wire       full,
    input  wire       pop,
    output wire [7:0] dout,  // oldest byte
    output wire       empty,
    output reg  [4:0] level
);
    reg [7:0]  slots[0:15];
    reg [0:15] used = 16'd0;  // bit i, from the left: slot i holds a byte
    reg [3:0]  head = 4'd0;   // oldest slot
    reg [3:0]  tail = 4'd0;   // next free slot

    wire do_push = push & ~full;
    wire do_pop  = pop & ~empty;

    assign full  = level[4];
    assign empty = level == 5'd0;
    assign dout  = slots[head];

    always @(posedge clk) begin
        if (!rst_n) begin
            used  <= 16'd0;
            head  <= 4'd0;
            tail  <= 4'd0;
            level <= 5'd0;
        end else begin
            if (do_push) begin
                slots[tail] <= din;
                used[tail]  <= 1'b1;
                tail        <= tail + 4'd1;
            end
            if (do_pop) begin
                used[head] <= 1'b0;
                head       <= head + 4'd1;
            end
            level <= level + {4'd0, do_push} - {4'd0, do_pop};
        end
    end

    initial begin : clear
        integer i;
        for (i = 0; i < 16; i = i + 1) slots[i] = 8'd0;
        level = 5'd0;
    end
endmodule

`default_nettype wire
