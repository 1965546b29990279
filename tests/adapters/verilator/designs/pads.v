// Inouts that the design and a bench drive in turn: a bus, a line with two drivers of 0, and one of
// many bits.
module bit_driver(inout line, input low);
    assign line = low ? 1'b0 : 1'bz;
endmodule

module pads(
    input clk, input write, input [7:0] value, input low, inout [7:0] bus, inout line,
    inout [69:0] wide, output reg [7:0] seen, output reg [7:0] sum, output reg [69:0] last
);
    reg [7:0] held;
    assign bus = write ? held : 8'bz;
    bit_driver driver(line, low);
    assign wide[69:60] = write ? {held, 2'b10} : 10'bz;
    initial begin held = 0; seen = 0; sum = 0; last = 0; end
    always @(posedge clk) begin
        held <= value;
        seen <= bus;
        last <= wide;
        if (line) sum <= sum + bus;
    end
endmodule
