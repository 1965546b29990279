// The design whose dumps are kept here. What a tool cannot read is left out by a macro.
`timescale 1ns / 1ns

module part (input wire clk, output reg [0:3] down);
    initial down = 4'd15;
    always @(posedge clk) down <= down - 4'd1;
endmodule

module dut (input wire clk, output reg [3:0] up);
    wire [0:3] down;
    reg [99:0] wide = 100'd1;
    initial up = 4'd0;
    part u_part (.clk(clk), .down(down));
    always @(posedge clk) begin
        up <= up + 4'd1;
        wide <= {wide[96:0], wide[99:97]};
    end
`ifdef REAL
    real level = 0.5;
    always @(posedge clk) level = level * -1.5e3;
`endif
`ifdef KINDS
    parameter [7:0] LIMIT = 8'd12;
    integer count = -1;
    time stamp = 0;
    event tick;
    reg unset;
    reg drive = 1'b0;
    tri pulled = drive ? 1'b1 : 1'bz;
    reg signed [3:-4] below = 8'sh0f;
    always @(posedge clk) begin
        count <= count + 1;
        stamp <= $time;
        drive <= ~drive;
        below <= below - 1;
        -> tick;
    end
`endif
`ifdef ESCAPED
    reg \odd+name[3] = 1'b0;
`endif
endmodule

`ifdef TB
module tb;
    reg clk = 1'b0;
    wire [3:0] up;
    dut dut (.clk(clk), .up(up));
    always #5 clk = ~clk;
    initial begin
        $dumpfile("out.vcd");
        $dumpvars(0, dut);
`ifdef PAUSE
        #12 $dumpoff;
        #5 $dumpon;
        #5 $dumpall;
        #22 $finish(0);
`else
        #44 $finish(0);
`endif
    end
endmodule
`endif
