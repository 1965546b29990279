// Derives the slow clock: a quarter of the rate, changing on falling edges only, never reset.
`timescale 1ns / 1ns
`default_nettype none

module clkdiv (
    input  wire clk,
    output reg  uclk
);
    reg phase = 1'b0;

    // At time 0 the step of clk from x to 0 is a falling edge to a simulator, and must not count.
    reg running = 1'b0;
    always @(posedge clk) running <= 1'b1;

    always @(negedge clk) begin
        if (running) begin
            phase <= ~phase;
            if (phase) uclk <= ~uclk;
        end
    end

    initial uclk = 1'b0;
endmodule

`default_nettype wire
