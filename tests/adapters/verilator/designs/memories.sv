// Memories of several widths, bounds and directions, each read through a port of its own.
module memories(
    input clk, input [3:0] address, input write, output [7:0] q8, output [11:0] q12,
    output [31:0] q32, output [47:0] q48, output [99:0] q100, output [7:0] qgrid
);
    reg [7:0] m8 [0:15];
    reg [11:0] m12 [15:0];
    reg [31:0] m32 [1:4];
    reg [47:0] m48 [7:4];
    reg [99:0] m100 [1:8];
    reg [7:0] grid [0:1][2:0];
    wire [3:0] place = {1'b0, address[2:0]} + 4'd1;
    wire [1:0] column = address[1:0] == 3 ? 2'd0 : address[1:0];
    assign q8 = m8[address];
    assign q12 = m12[address];
    assign q32 = m32[{1'b0, address[1:0]} + 3'd1];
    assign q48 = m48[{1'b1, address[1:0]}];
    assign q100 = m100[place];
    assign qgrid = grid[address[2]][column];
    always @(posedge clk) if (write) begin
        m100[place] <= ~m100[place];
        m48[{1'b1, address[1:0]}] <= ~q48;
        grid[address[2]][column] <= ~qgrid;
    end
endmodule
