// Drives the example's system on a chip, whose only inputs are a clock and a reset. STYLE is as in
// fifo_tb.v, without the last.
`timescale 1ns / 1ns
module tb;
    reg clk = 0, rst_n = 0;
    wire txd;
    wire [15:0] leds;
    soc dut(.clk(clk), .rst_n(rst_n), .txd(txd), .leds(leds));

    integer cycle = 0;
    wire next = cycle > 3 && cycle % 40 < 36;

    always begin
        #5;
        if (`STYLE == 1) rst_n = next;
        clk = 1;
        #5;
        if (`STYLE == 2) rst_n = next;
        clk = 0;
        cycle = cycle + 1;
        if (cycle == `CYCLES) #3 $finish(0);
    end
    always @(posedge clk) if (`STYLE == 0) rst_n <= next;

    reg [8*1024-1:0] image;
    initial begin
        if ($value$plusargs("image=%s", image)) $readmemh(image, dut.u_rom.words, 0, 255);
        $dumpfile("dump.vcd");
        $dumpvars(0, dut);
    end
endmodule
