// Hands bytes from the FIFO to the transmitter's clock domain: `req` changes for each byte, and the
// next one is offered when `ack` has followed it. `data` stands still meanwhile.
`timescale 1ns / 1ns
`default_nettype none

module txlink (
    input  wire       clk,
    input  wire       rst_n,
    input  wire       empty,
    input  wire [7:0] din,
    output wire       pop,
    output reg        req,
    output reg  [7:0] data,
    input  wire       ack
);
    wire ack_seen;
    sync2 u_ack_sync (
        .clk(clk),
        .d  (ack),
        .q  (ack_seen)
    );

    assign pop = ~empty & (req == ack_seen);

    always @(posedge clk) begin
        if (!rst_n) begin
            req  <= 1'b0;
            data <= 8'd0;
        end else if (pop) begin
            req  <= ~req;
            data <= din;
        end
    end

    initial begin
        req  = 1'b0;
        data = 8'd0;
    end
endmodule

`default_nettype wire
