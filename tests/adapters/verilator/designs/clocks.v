// Two clocks without a common period, one divided by a register, one gated by a latch.
module divider(input clk, output reg half);
    initial half = 0;
    always @(posedge clk) half <= ~half;
endmodule

module clocks(input fast, input slow, input rst, input gate, input [7:0] d,
              output reg [7:0] a, output reg [7:0] b, output reg [7:0] c, output [7:0] e);
    wire half;
    divider u_div (.clk(fast), .half(half));
    reg open;
    always @(fast or gate) if (!fast) open = gate;
    wire gated = fast & open;
    reg [7:0] sum, ticks, kept;
    assign e = sum ^ kept;
    initial {a, b, c, sum, ticks, kept} = 0;
    always @(posedge fast or posedge rst) if (rst) a <= 0; else a <= a + d;
    always @(posedge slow) b <= b + a;
    always @(negedge slow) ticks <= ticks + 1;
    always @(posedge half) c <= c ^ (a + ticks);
    always @(posedge gated) sum <= sum + d;
    always @(negedge half) kept <= kept + sum;
endmodule
