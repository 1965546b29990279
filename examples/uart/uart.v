// A serial transmitter with a queue: a start bit, eight data bits, the lowest first, and a stop bit,
// each DIVIDE clock cycles long.
module uart #(parameter DIVIDE = 4) (
    input  wire       clk,
    input  wire       rst,
    input  wire       push,
    input  wire [7:0] data,
    output wire       full,
    output wire       busy,
    output wire       txd
);
    wire [7:0] next;
    wire       empty;
    reg  [9:0] shift;
    reg  [3:0] left;
    reg  [7:0] baud;

    assign busy = left != 0;
    assign txd = !busy || shift[0];
    wire load = !busy && !empty;

    fifo u_fifo (.clk(clk), .rst(rst), .push(push), .pop(load), .in(data), .out(next),
                 .empty(empty), .full(full));

    always @(posedge clk)
        if (rst) begin
            shift <= 0;
            left <= 0;
            baud <= 0;
        end else if (load) begin
            $display("%0t: sends %h", $time, next);
            shift <= {1'b1, next, 1'b0};
            left <= 10;
            baud <= DIVIDE - 1;
        end else if (baud != 0) begin
            baud <= baud - 1'b1;
        end else if (busy) begin
            shift <= shift >> 1;
            left <= left - 1'b1;
            baud <= DIVIDE - 1;
        end
endmodule
