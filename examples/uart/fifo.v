// A queue of 2**BITS words; its oldest word is at `head` unless it is empty.
module fifo #(parameter WIDTH = 8, BITS = 2) (
    input  wire             clk,
    input  wire             rst,
    input  wire             push,
    input  wire             pop,
    input  wire [WIDTH-1:0] in,
    output wire [WIDTH-1:0] out,
    output wire             empty,
    output wire             full
);
    reg [WIDTH-1:0] slots [0:(1 << BITS) - 1];
    reg [BITS:0]    level;
    reg [BITS-1:0]  head, tail;

    assign empty = level == 0;
    assign full = level[BITS];
    assign out = slots[head];
    wire put = push && !full;
    wire get = pop && !empty;

    always @(posedge clk)
        if (rst) begin
            level <= 0;
            head <= 0;
            tail <= 0;
        end else begin
            if (put) begin
                slots[tail] <= in;
                tail <= tail + 1'b1;
            end
            if (get) head <= head + 1'b1;
            level <= level + put - get;
        end
endmodule
