`timescale 1ns / 1ns
module tb;
    reg clk = 0, rst_n = 0, start = 0;
    reg [95:0] wide_i = 0;
    reg [47:0] header_i = 0;
    wire [95:0] wide_o;
    wire [1:0] state_o;
    wire [23:0] lanes_o;
    wire [7:0] lane_o;
    wire busy;
    wire [8:1] odd_o;
    wire [0:7] rom_o;
    packet dut (.clk(clk), .rst_n(rst_n), .start(start), .wide_i(wide_i), .header_i(header_i),
                .wide_o(wide_o), .state_o(state_o), .lanes_o(lanes_o), .lane_o(lane_o),
                .busy(busy), .odd_o(odd_o), .rom_o(rom_o));
    always #5 clk = ~clk;
    initial begin
        $dumpfile("trace.vcd");
        $dumpvars(0, tb);
        #12 rst_n = 1;
        #2000 rst_n = 0;
        #31 rst_n = 1;
        #8000 $finish;
    end
    always @(posedge clk) begin
        start <= $random;
        header_i <= {$random, $random};
        wide_i <= {$random, $random, $random};
    end
endmodule
