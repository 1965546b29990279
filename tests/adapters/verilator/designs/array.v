// Arrays of instances: ports that all of them have in common, and ports that divide a net.
module lane(input clk, input rst, input [3:0] d, output reg [3:0] q, output [7:0] both);
    assign both = {q, d};
    always @(posedge clk)
        if (rst) q <= 0;
        else q <= d + 4'd1;
endmodule

module array(
    input clk, input rst, input [11:0] d, output [11:0] q, output [7:0] one, output [23:0] all
);
    wire [11:0] inner;
    lane u[1:3](.clk(clk), .rst(rst), .d(d), .q(inner), .both(all));
    lane v[2:0](.clk(clk), .rst(rst), .d(inner), .q(q), .both());
    lane single[0:0](.clk(clk), .rst(rst), .d(d[3:0]), .q(), .both(one));
endmodule
