// Serial transmitter: a start bit, eight data bits from the lowest, a stop bit, each as long as
// four periods of its clock.
`timescale 1ns / 1ns
`default_nettype none

module uart (
    input  wire       uclk,
    input  wire       rst_n,
    input  wire       req,   // changes when `data` holds a new byte
    input  wire [7:0] data,
    output reg        ack,   // follows `req` when the byte has been taken
    output wire       txd
);
    wire req_seen;
    sync2 u_req_sync (
        .clk(uclk),
        .d  (req),
        .q  (req_seen)
    );

    reg  [9:0] shift     = 10'h3ff;  // bit 0 is on the line
    reg  [3:0] bits_left = 4'd0;
    reg  [1:0] baud      = 2'd0;
    wire       busy      = bits_left != 4'd0;
    wire       idle      = ~busy;
    wire       start     = idle & (req_seen != ack);

    assign txd = shift[0];

    always @(posedge uclk) begin
        if (!rst_n) begin
            shift     <= 10'h3ff;
            bits_left <= 4'd0;
            baud      <= 2'd0;
            ack       <= 1'b0;
        end else if (start) begin
            shift     <= {1'b1, data, 1'b0};
            bits_left <= 4'd10;
            baud      <= 2'd0;
            ack       <= req_seen;
        end else if (busy) begin
            baud <= baud + 2'd1;
            if (baud == 2'd3) begin
                shift     <= {1'b1, shift[9:1]};
                bits_left <= bits_left - 4'd1;
            end
        end
    end

    initial ack = 1'b0;
endmodule

`default_nettype wire
