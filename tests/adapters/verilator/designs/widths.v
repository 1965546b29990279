// Values of many widths, declared both ways: each output is its input of the cycle before, rotated.
`define WIDTHS `W(1) `W(7) `W(8) `W(9) `W(16) `W(17) `W(32) `W(33) `W(63) `W(64) `W(65) `W(96) \
    `W(100) `W(128) `W(129) `W(130)
`define W(N) , input [N-1:0] d``N, input [0:N-1] a``N, output reg [N-1:0] q``N, \
    output reg [0:N-1] r``N
module widths(input clk, input [7:3] d_offset, input [3:3] d_bit, input [0:0] d_zero,
    output reg [7:3] q_offset, output reg [3:3] q_bit, output reg [0:0] q_zero `WIDTHS);
`undef W
`define W(N) \
    initial begin q``N = 0; r``N = 0; end \
    always @(posedge clk) begin \
        q``N <= d``N << 1 | d``N >> N - 1; \
        r``N <= a``N << 1 | a``N >> N - 1; \
    end
    `WIDTHS
    initial {q_offset, q_bit, q_zero} = 0;
    always @(posedge clk) begin
        q_offset <= {d_offset[6:3], d_offset[7]};
        q_bit[3] <= d_bit[3];
        q_zero[0] <= d_zero[0];
    end
endmodule
